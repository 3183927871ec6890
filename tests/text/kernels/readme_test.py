#!/usr/bin/env python3
"""Compares the loops that nqinstance/text/README.md lists with those of the table, and the routines
named beside them with what the library exports.

usage: readme_test.py ROOT
"""
import pathlib
import re
import sys


def slots_of_table(source):
    table = source[source.index("struct TextKernels {"):]
    return re.findall(r"\(\*(\w+)\)\(", table[:table.index("\n};")])


def rows_of_readme(text):
    """Each slot with the routines of its row."""
    section = text.split("## Which routine uses which loop", 1)[1].split("\n## ", 1)[0]
    rows = re.findall(r"^\| `(\w+)` \| (.*) \|$", section, re.M)
    return {slot: re.findall(r"`(\w+)`", routines) for slot, routines in rows}


def main(root):
    source = pathlib.Path(root, "nqinstance")
    slots = slots_of_table((source / "text/kernels/table.hpp").read_text())
    rows = rows_of_readme((source / "text/README.md").read_text())
    exported = set(re.findall(r"\w+", (source / "exports.map").read_text()))
    faults = []
    if not slots or list(rows) != slots:
        faults.append(f"the table has {slots}, README.md has {list(rows)}")
    for slot, routines in rows.items():
        if not routines:
            faults.append(f"no routine uses {slot}")
        faults += [f"{slot}: {name} is not exported" for name in routines if name not in exported]
    print("\n".join(faults) or f"{len(slots)} loops")
    return 1 if faults else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))

#!/usr/bin/env python3
"""Makes the table of what the failure sweep does with every export.

usage: export_table.py VERSION-SCRIPT LIST HEADER

LIST has sections "[swept]" and "[reason]", each followed by names. Every name of the linker
version script stands in it once, and no other. HEADER becomes the table in C++; when the two
differ, they are compared name by name on standard error, nothing is written and the status is 1.
"""
import pathlib
import re
import sys


def exported_names(script):
    text = re.sub(r"#.*", "", script)
    body = re.search(r"global:(.*?)local:", text, re.S).group(1)
    return {name.strip() for name in body.split(";") if name.strip()}


def listed_names(text):
    """Pairs of a name and the section it stands in."""
    section = None
    for line in re.sub(r"#.*", "", text).splitlines():
        heading = re.fullmatch(r"\[(.+)\]\s*", line)
        if heading:
            section = heading[1]
        for name in () if heading else line.split():
            yield name, section


def problems(exported, listed):
    seen = set()
    for name, _ in listed:
        if name in seen:
            yield f"{name} stands twice in the sweep's list"
        seen.add(name)
    for name in sorted(exported - seen):
        yield f"{name} is exported, but neither swept nor known not to fail"
    for name in sorted(seen - exported):
        yield f"{name} stands in the sweep's list, but is not exported"


def header(listed):
    rows = "".join(f'    {{"{name}", "{section}"}},\n' for name, section in listed)
    return ("// Made by export_table.py from the list of exports; not edited.\n#pragma once\n\n"
            "namespace nq::test {\n\n"
            "struct Export {\n    const char* name;\n    const char* section;\n};\n\n"
            f"inline constexpr Export kExports[] = {{\n{rows}}};\n\n}}  // namespace nq::test\n")


def main(arguments):
    if len(arguments) != 3:
        sys.exit(__doc__)
    script, listing, output = map(pathlib.Path, arguments)
    listed = list(listed_names(listing.read_text()))
    found = list(problems(exported_names(script.read_text()), listed))
    for problem in found:
        print(f"{listing}: {problem}", file=sys.stderr)
    if not found:
        output.write_text(header(listed))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

#!/usr/bin/env python3
"""Checks what gcovr counted against the demands.

usage: gate.py ROOT COVERAGE.json [CALLS]

CALLS is what callgrind wrote of a test that calls operations without counters. Prints a figure for
each demand, then every line and branch of the library that no test reached.
A line is left out of the count by a comment with GCOVR_EXCL and, behind a colon, the reason; these
are listed as well, and one without a reason fails. Status 1 when a demand is missed.
"""
import json
import pathlib
import re
import sys

# Folder: percent of the lines, percent of the branches (or None).
DEMANDS = {"nqinstance": (99.0, 95.0), "standalone": (90.0, None), "typed": (90.0, None),
           "tool": (90.0, None)}


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def lines_of(file):
    return [line for line in file["lines"] if not line.get("gcovr/noncode")]


def measure(files, folder):
    """((lines reached, lines), (branches reached, branches)) of the files below a folder."""
    lines = [line for file in files if file["file"].startswith(folder + "/")
             for line in lines_of(file)]
    branches = [branch for line in lines for branch in line["branches"]]
    return ((sum(line["count"] > 0 for line in lines), len(lines)),
            (sum(branch["count"] > 0 for branch in branches), len(branches)))


def exported_operations(root):
    text = re.sub(r"#.*", "", (root / "nqinstance/exports.map").read_text())
    names = re.search(r"global:(.*?)local:", text, re.S).group(1).split(";")
    # The one variable.
    return {name.strip() for name in names} - {"", "Exported_NQHandle"}


def executed_functions(files):
    return {re.sub(r"\(.*", "", function["name"]) for file in files
            for function in file.get("functions", []) if function["execution_count"] > 0}


def called_functions(path):
    return set(re.findall(r"^c?fn=\(\d+\) (\w+)", pathlib.Path(path).read_text(), re.M))


def left_out(root):
    """Place, reason (or "") of every mark that leaves lines out."""
    for folder in DEMANDS:
        for path in sorted((root / folder).rglob("*.[ch]*")):
            for number, line in enumerate(path.read_text().split("\n"), 1):
                mark = re.search(r"GCOVR?_EXCL_(?!\w*STOP)\w+(?::\s*(.*))?", line)
                if mark:
                    yield f"{path.relative_to(root)}:{number}", (mark[1] or "").strip()


def check(root, files, called):
    """Prints the figures; yields what is wrong with each demand, or "" where nothing is."""
    for folder, (line_demand, branch_demand) in DEMANDS.items():
        (lines, all_lines), (branches, all_branches) = measure(files, folder)
        print(f"{folder}: lines {lines} of {all_lines} ({percent(lines, all_lines):.1f} %), "
              f"branches {branches} of {all_branches} ({percent(branches, all_branches):.1f} %)")
        if percent(lines, all_lines) < line_demand or not all_lines:
            yield f"{folder}: less than {line_demand:.0f} % of the lines"
        else:
            yield ""
        if branch_demand:
            enough = percent(branches, all_branches) >= branch_demand
            yield "" if enough else f"{folder}: less than {branch_demand:.0f} % of the branches"
    operations = exported_operations(root)
    missing = sorted(operations - executed_functions(files) - called)
    print(f"exported operations: {len(operations) - len(missing)} of {len(operations)}")
    yield "exported and never called: " + ", ".join(missing) if missing else ""
    marks = list(left_out(root))
    print(f"left out: {len(marks)}")
    for place, reason in marks:
        print(f"  {place}: {reason}")
    bare = [place for place, reason in marks if not reason]
    yield "left out without a reason: " + ", ".join(bare) if bare else ""


def print_unreached(files, folder):
    for file in files:
        if not file["file"].startswith(folder + "/"):
            continue
        for line in lines_of(file):
            missed = sum(branch["count"] == 0 for branch in line["branches"])
            if line["count"] == 0:
                print(f"  {file['file']}:{line['line_number']} not reached")
            elif missed:
                print(f"  {file['file']}:{line['line_number']} {missed} of "
                      f"{len(line['branches'])} branches not taken")


def main(root, report, calls=None):
    files = json.loads(pathlib.Path(report).read_text())["files"]
    called = called_functions(calls) if calls else set()
    results = list(check(pathlib.Path(root), files, called))
    print_unreached(files, "nqinstance")
    problems = [problem for problem in results if problem]
    for problem in problems:
        print(problem)
    print(f"{len(results) - len(problems)} passed, {len(problems)} failed")
    return 1 if problems else 0


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))

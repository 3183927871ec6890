#!/usr/bin/env python3
"""Compares the built library's binary interface with the committed description of it.

usage: abi.py check|write LIBRARY DESCRIPTION ROOT

The description holds every exported function and variable with all types that can be reached from
them, the tables of operations and the records among these. It is taken from the library's debug
information, so the library has to be built with that; types that stand in no header below ROOT are
left out. `check` prints each difference and ends with status 1 when there is any; `write` takes
the library as it is for the description, which is a decision to be reviewed.
"""
import pathlib
import subprocess
import sys
import tempfile


def describe(library, root, output):
    subprocess.run(["abidw", "--headers-dir", root, "--drop-private-types", "--no-corpus-path",
                    "--no-comp-dir-path", "--no-show-locs", "--out-file", output, library], check=True)
    text = output.read_text().replace(f"{pathlib.Path(root).resolve().parent}/", "")
    output.write_text(text)
    return text


def check(library, description, root):
    with tempfile.TemporaryDirectory() as folder:
        built = pathlib.Path(folder, "built.xml")
        if "<abi-instr" not in describe(library, root, built):
            return f"{library} has no debug information"
        done = subprocess.run(["abidiff", "--harmless", description, built], capture_output=True,
                              text=True)
    if done.returncode == 0:
        return ""
    return done.stdout + done.stderr


def main(action, library, description, root):
    if action == "write":
        describe(library, root, pathlib.Path(description))
        return 0
    problem = check(library, description, root)
    if problem:
        print(problem)
        print(f"If the change is meant: {sys.argv[0]} write {library} {description} {root}")
    return 1 if problem else 0


if __name__ == "__main__":
    if len(sys.argv) != 5 or sys.argv[1] not in ("check", "write"):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))

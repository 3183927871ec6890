#!/usr/bin/env python3
"""Runs command-line cases: each file says what to run and all that must come of it.

A case is a text file. What stands before the first line that begins with ">>> " says what the
case shows. Then come sections, each under a line of its own:

    >>> file NAME [escaped]     a file in the empty folder where the case runs
    >>> stdin [escaped]         the standard input (else it is empty)
    >>> run                     a script for sh; "nqtool" is on its path
    >>> stdout [escaped|pattern]
    >>> stderr [escaped|pattern]
    >>> exit STATUS             (else it must be 0)

Standard output and standard error must be exactly as given, and empty where nothing is given.
An escaped section may hold \\xNN, \\n and so on, and a backslash at the end of a line joins it with
the next one. A pattern is a regular expression for the whole text.

A script finds the library's path in LIBRARY, the program's in NQTOOL, a Python in PYTHON and the
project's folder in SOURCE. It ends with status 77 where the case cannot be run; the runner then
ends with 77 as well.
"""

import argparse
import codecs
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SKIPPED = 77
LIMIT_SECONDS = 60
SOURCE = pathlib.Path(__file__).resolve().parents[2]
KINDS = {"file", "stdin", "run", "stdout", "stderr", "exit"}
MODES = {"plain", "escaped", "pattern"}


class CaseError(Exception):
    """The case itself is wrong."""


def sections(text):
    """Yields (kind, argument, mode, content) of a case."""
    heading, lines = None, []
    for line in text.split(b"\n")[:-1]:
        if line.startswith(b">>> "):
            if heading:
                yield (*heading, content(heading, lines))
            words = line[4:].decode().split()
            mode = words.pop() if words[-1] in MODES else "plain"
            heading, lines = (words[0], words[1] if len(words) > 1 else "", mode), []
            if words[0] not in KINDS:
                raise CaseError(f"unknown section {words[0]}")
        else:
            lines.append(line + b"\n")
    if not heading:
        raise CaseError("no sections")
    yield (*heading, content(heading, lines))


def content(heading, lines):
    text = b"".join(lines)
    return codecs.escape_decode(text)[0] if heading[2] == "escaped" else text


def difference(stream, mode, wanted, found):
    if mode == "pattern":
        agrees = re.fullmatch(wanted.rstrip(b"\n"), found.rstrip(b"\n"), re.DOTALL)
    else:
        agrees = wanted == found
    return [] if agrees else [f"{stream}:", f"  wanted {wanted!r}", f"  found  {found!r}"]


def run(case, tool, library):
    """Runs one case; the list of differences, or None when it was skipped."""
    script, stdin, status = None, b"", 0
    wanted = {"stdout": ("plain", b""), "stderr": ("plain", b"")}
    with tempfile.TemporaryDirectory(prefix="nqtool-case-") as name:
        folder = pathlib.Path(name)
        for kind, argument, mode, text in sections(case.read_bytes()):
            if kind == "file":
                (folder / argument).write_bytes(text)
            elif kind == "stdin":
                stdin = text
            elif kind == "run":
                script = text.decode()
            elif kind == "exit":
                status = int(argument)
            else:
                wanted[kind] = (mode, text)
        if script is None:
            raise CaseError("nothing to run")
        environment = {
            **os.environ,
            "PATH": f"{tool.parent}:{os.environ['PATH']}",
            "NQTOOL": str(tool),
            "LIBRARY": str(library),
            "PYTHON": sys.executable,
            "SOURCE": str(SOURCE),
            "LC_ALL": "C",
        }
        environment.pop("NQINSTANCE_LIBRARY", None)
        done = subprocess.run(["sh", "-c", script], cwd=folder, env=environment, input=stdin,
                              capture_output=True, timeout=LIMIT_SECONDS, check=False)
        if done.returncode == SKIPPED:
            return None
    found = []
    if done.returncode != status:
        found.append(f"exit status: wanted {status}, found {done.returncode}")
    found += difference("stdout", *wanted["stdout"], done.stdout)
    found += difference("stderr", *wanted["stderr"], done.stderr)
    return found


def main():
    parser = argparse.ArgumentParser(description="Runs command-line cases of nqtool.")
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--library", required=True, type=pathlib.Path)
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()

    failed = skipped = 0
    for case in arguments.cases:
        try:
            differences = run(case, arguments.tool.resolve(), arguments.library.resolve())
        except (CaseError, ValueError, re.error, subprocess.TimeoutExpired) as error:
            differences = [f"cannot be run: {error}"]
        if differences is None:
            skipped += 1
            print(f"{case.name}: skipped, as its script says")
        elif differences:
            failed += 1
            print("\n".join([f"{case.name}: FAILED", *differences]))
    print(f"{len(arguments.cases)} cases, {failed} failed, {skipped} skipped")
    if failed:
        return 1
    return SKIPPED if skipped == len(arguments.cases) else 0


if __name__ == "__main__":
    sys.exit(main())

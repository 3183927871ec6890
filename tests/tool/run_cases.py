#!/usr/bin/env python3
"""Runs command-line cases: each file says what to run and all that must come of it.

A case is a text file. What stands before the first line that begins with ">>> " says what the
case shows; a line "Labels: NAME..." there gives it labels for ctest. Then come sections, each under
a line of its own:

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

With --rewrite, what comes of a case that fails is written into its file as what must come of it.
Patterns stay as they are, and a case whose pattern does not match still fails.
"""

import argparse
import codecs
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SKIPPED = 77
LIMIT_SECONDS = 60
SOURCE = pathlib.Path(__file__).resolve().parents[2]
KINDS = ["file", "stdin", "run", "stdout", "stderr", "exit"]
MODES = {"plain", "escaped", "pattern"}


class CaseError(Exception):
    """The case itself is wrong."""


def escaped(text):
    """The text as an escaped section has it; UTF-8 text stays readable."""
    try:
        text.decode()
        special = rb"[\x00-\x09\x0b-\x1f\x7f\\]"
    except UnicodeDecodeError:
        special = rb"[\x00-\x09\x0b-\x1f\x7f-\xff\\]"
    lines = re.sub(special, lambda match: codecs.escape_encode(match[0])[0], text)
    lines = re.sub(rb"^>(?=>> )", rb"\\x3e", lines, flags=re.MULTILINE)
    return lines if not lines or lines.endswith(b"\n") else lines + b"\\\n"


class Section:
    def __init__(self, kind, argument="", mode="plain", body=b""):
        self.kind, self.argument, self.mode, self.body = kind, argument, mode, body

    @classmethod
    def under(cls, heading):
        words = heading.decode().split()
        mode = words.pop() if words[-1] in MODES else "plain"
        if words[0] not in KINDS:
            raise CaseError(f"unknown section {words[0]}")
        return cls(words[0], words[1] if len(words) > 1 else "", mode)

    @property
    def text(self):
        return codecs.escape_decode(self.body)[0] if self.mode == "escaped" else self.body

    @text.setter
    def text(self, text):
        if self.mode == "plain":
            self.body = text
            is_kept = (not text or text.endswith(b"\n")) and not re.search(rb"^>>> ", text, re.M)
            self.mode = "plain" if is_kept else "escaped"
        if self.mode == "escaped":
            self.body = escaped(text)

    def agrees(self, found):
        if self.mode != "pattern":
            return self.text == found
        return re.fullmatch(self.text.rstrip(b"\n"), found.rstrip(b"\n"), re.DOTALL)

    def __bytes__(self):
        words = [self.kind, self.argument, self.mode if self.mode != "plain" else ""]
        return f">>> {' '.join(word for word in words if word)}\n".encode() + self.body


class Case:
    """A case file's parts, in their order."""

    def __init__(self, path):
        self.path, self.preface, self.sections = path, b"", []
        for line in path.read_bytes().split(b"\n")[:-1]:
            if line.startswith(b">>> "):
                self.sections.append(Section.under(line[4:]))
            elif self.sections:
                self.sections[-1].body += line + b"\n"
            else:
                self.preface += line + b"\n"
        if not self.section("run"):
            raise CaseError("nothing to run")

    def section(self, kind):
        return next((section for section in self.sections if section.kind == kind), None)

    def wanted(self, kind):
        return self.section(kind) or Section(kind, argument="0" if kind == "exit" else "")

    def set(self, kind, argument, text):
        """Makes this what must come of the case; neither an argument nor a text: nothing."""
        section = self.section(kind)
        if not section:
            section = Section(kind)
            later = KINDS[KINDS.index(kind):]
            places = [i for i, other in enumerate(self.sections) if other.kind in later]
            self.sections.insert(places[0] if places else len(self.sections), section)
        section.argument, section.text = argument, text
        if not argument and not text:
            self.sections.remove(section)

    def run(self, tool, library):
        """What comes of the script: exit status, standard output and standard error."""
        with tempfile.TemporaryDirectory(prefix="nqtool-case-") as name:
            for section in self.sections:
                if section.kind == "file":
                    (pathlib.Path(name) / section.argument).write_bytes(section.text)
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
            script = self.section("run").text.decode()
            return subprocess.run(["sh", "-c", script], cwd=name, env=environment,
                                  input=self.wanted("stdin").text, capture_output=True,
                                  timeout=LIMIT_SECONDS, check=False)

    def differences(self, done):
        """The lines that show where what came of the script is not what must come of it."""
        shown = []
        status = int(self.wanted("exit").argument)
        if done.returncode != status:
            shown.append(f"exit status: wanted {status}, found {done.returncode}")
        for kind, found in ("stdout", done.stdout), ("stderr", done.stderr):
            wanted = self.wanted(kind)
            if wanted.agrees(found):
                continue
            after = escaped(found).decode().splitlines()
            if wanted.mode == "pattern":
                pattern = wanted.text.decode(errors="replace").splitlines()
                shown += [f"{kind} does not match", *pattern, f"{kind} found", *after]
            else:
                before = escaped(wanted.text).decode().splitlines()
                shown += difflib.unified_diff(before, after, f"{kind} wanted", f"{kind} found",
                                              lineterm="")
        return shown

    def rewrite(self, done):
        self.set("exit", str(done.returncode) if done.returncode else "", b"")
        for kind, found in ("stdout", done.stdout), ("stderr", done.stderr):
            wanted = self.wanted(kind)
            if wanted.mode != "pattern" and not wanted.agrees(found):
                self.set(kind, "", found)
        self.path.write_bytes(self.preface + b"".join(bytes(part) for part in self.sections))


def verdict(path, arguments):
    """Runs the case: what became of it in a word, and the lines that tell more."""
    try:
        case = Case(path)
        done = case.run(arguments.tool.resolve(), arguments.library.resolve())
        if done.returncode == SKIPPED:
            return "skipped", []
        differences = case.differences(done)
        if not differences:
            return "passed", []
        if not arguments.rewrite:
            return "FAILED", differences
        case.rewrite(done)
        left = case.differences(done)
        return ("FAILED" if left else "rewritten"), left
    except (CaseError, ValueError, re.error, subprocess.TimeoutExpired) as error:
        return "FAILED", [f"cannot be run: {error}"]


def main():
    parser = argparse.ArgumentParser(description="Runs command-line cases of nqtool.")
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--library", required=True, type=pathlib.Path)
    parser.add_argument("--rewrite", action="store_true",
                        help="write what comes of a failing case into its file")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()

    words = []
    for path in arguments.cases:
        word, lines = verdict(path, arguments)
        words.append(word)
        if word != "passed":
            print("\n".join([f"{path.name}: {word}", *lines]))
    failed, skipped = words.count("FAILED"), words.count("skipped")
    print(f"{len(words)} cases, {failed} failed, {skipped} skipped")
    if failed:
        return 1
    return SKIPPED if skipped == len(words) else 0


if __name__ == "__main__":
    sys.exit(main())

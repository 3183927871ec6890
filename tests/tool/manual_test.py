#!/usr/bin/env python3
"""Runs the examples of the pages: "$ COMMAND" in a block, and what the terminal shows after it.

"$ cat FILE" makes the file of what it shows, for the commands behind it on the page. Files of examples/
are there.
"""

import argparse
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile


def examples(page):
    """Yields (command, what the terminal shows) of a page."""
    for block in re.findall(r"^```\n(\$ .*?)^```", page, re.DOTALL | re.MULTILINE):
        for example in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, shown = example.partition("\n")
            yield command, shown


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    path = f"{arguments.tool.resolve().parent}:{os.environ['PATH']}"

    count = failed = 0
    for page in arguments.pages:
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "examples").symlink_to(page.resolve().parent.parent / "examples")
            for command, shown in examples(page.read_text()):
                if command.startswith("cat "):
                    (pathlib.Path(folder) / command.removeprefix("cat ")).write_text(shown)
                    continue
                count += 1
                done = subprocess.run(["sh", "-c", command], cwd=folder, text=True, check=False,
                                      env={**os.environ, "PATH": path}, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                if done.stdout != shown:
                    failed += 1
                    print(f"{page.name}: $ {command}")
                    print(*difflib.unified_diff(shown.splitlines(), done.stdout.splitlines(),
                                                "shown", "found", lineterm=""), sep="\n")
    print(f"{count} examples, {failed} failed")
    return 1 if failed or not count else 0


if __name__ == "__main__":
    sys.exit(main())

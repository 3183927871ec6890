"""The README's blocks say what the project does: its output is the tool's, its program compiles.

usage: readme_test.py README TOOL EMBED EXAMPLES
"""
import pathlib
import re
import subprocess
import sys


def main() -> int:
    readme, tool, embed, examples = map(pathlib.Path, sys.argv[1:5])
    blocks = re.findall(r"^```(\w*)\n(.*?)^```$", readme.read_text(), re.M | re.S)
    conf = examples / "service.conf"
    printed = subprocess.run([tool, "json", conf], capture_output=True, text=True, check=True).stdout
    library = tool.parent.parent / "lib" / "libnqinstance.so"
    embedded = subprocess.run([embed, library, conf], capture_output=True, text=True, check=True).stdout
    checks = {
        "the output of make run": ("", printed) in blocks,
        "the embedding program": ("cpp", (examples / "embed.cpp").read_text()) in blocks,
        "the embedding program's output": embedded == printed,
        "the commands": {"make run\n", "make test\n"} <= {text for kind, text in blocks if kind == "sh"},
    }
    for what, holds in checks.items():
        print(("ok" if holds else "NOT as the README says"), "-", what)
    return 0 if all(checks.values()) else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""No function above 60 lines and no file above 500: sizes.py ROOT.

Tests and generated tables are left out. Reads text that is formatted the project's way.
"""
import pathlib
import re
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "mutation"))
import mutations

MOST_LINES_OF_FUNCTION = 60
MOST_LINES_OF_FILE = 500
LEFT_OUT = re.compile(r"tests/|fuzz/|nqinstance/text/case_tables\.cpp$")
SOURCE = (".cpp", ".hpp", ".h", ".c")

DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.M)
RAW_LITERAL = re.compile(r'R"(\w*)\(.*?\)\1"', re.S)
# A block whose lines belong to what stands in it.
OPEN = re.compile(r"\b(?:namespace|struct|class|union|extern)\b[^()]*$")


def blank_out(text):
    """The text with directives, comments and literals as blanks; lines stay."""
    for pattern in (RAW_LITERAL, DIRECTIVE):
        text = pattern.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)
    return mutations.blank_out(text)


def functions(text):
    """(line, lines, head) of each function with a body, a lambda's being part of its function's."""
    text = blank_out(text)
    # (kind, place of the head, head) from the outermost: "outer" holds functions, and what stands
    # in a "function" or an "initializer" belongs to that.
    blocks = []
    head_start = 0
    for match in re.finditer(r"[{};]", text):
        place = match.start()
        if match.group() == "{":
            head = text[head_start:place]
            if not text[place - 1].isspace() or head.endswith("= ") \
                    or head.count("(") != head.count(")"):
                blocks.append(("initializer", head_start, ""))
                continue
            is_inside = any(kind != "outer" for kind, _, _ in blocks)
            kind = "function" if "(" in head and not is_inside and not OPEN.search(head) else "outer"
            blocks.append((kind, head_start + len(head) - len(head.lstrip()), head.strip()))
        elif match.group() == "}":
            kind, start, head = blocks.pop()
            if kind == "initializer":
                head_start = start  # it may belong to a constructor's head
                continue
            if kind == "function":
                yield text.count("\n", 0, start) + 1, text.count("\n", start, place) + 1, head
        head_start = match.end()


def too_large(path, text):
    """What is wrong with the file, a line for each."""
    lines = text.count("\n")
    if lines > MOST_LINES_OF_FILE:
        yield f"{path}: {lines} lines, more than {MOST_LINES_OF_FILE}"
    if not path.endswith(SOURCE):
        return
    for line, count, head in functions(text):
        if count > MOST_LINES_OF_FUNCTION:
            name = re.search(r"([\w:~]+|operator\S+)\s*\(", head).group(1)
            yield f"{path}:{line}: {name} has {count} lines, more than {MOST_LINES_OF_FUNCTION}"


def main(root):
    root = pathlib.Path(root)
    files = subprocess.run(["git", "ls-files"], cwd=root, check=True, capture_output=True,
                           text=True).stdout.splitlines()
    files = [path for path in files
             if path.endswith((*SOURCE, ".py", ".sh")) and not LEFT_OUT.match(path)]
    if not files:
        sys.exit(f"{root}: no sources")
    found = [what for path in files for what in too_large(path, (root / path).read_text())]
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))

#!/usr/bin/env python3
"""The stage `lint`: what can be said of the sources without running them.

usage: lint.py ROOT [CHECK...]

    planted  whether each check below finds what it is there for
    tidy     clang-tidy, on what is delivered, with the checks of .clang-tidy
    format   clang-format, on all C and C++
    shell    shellcheck, on all scripts of sh and bash
    spell    codespell, on every text
    editor   every text as .editorconfig wants it
Prints what each finds and closes with the sums; a check is one of them. Status 1 when one fails.
"""
import concurrent.futures
import fnmatch
import json
import os
import pathlib
import re
import subprocess
import sys

BUILD = "build/lint"
# Neither written nor read by people.
NO_TEXT = ("bench/data/*", "fuzz/corpus/*", "*.dict", "tests/gate/surface/abi.xml")


def texts_of(root):
    """The project's files that are text, as paths from its root."""
    found = []
    for folder, folders, names in os.walk(root):
        here = os.path.relpath(folder, root)
        folders[:] = [name for name in folders if name not in (".git", "__pycache__")
                      and not (here == "." and name == "build")]
        found += [os.path.normpath(os.path.join(here, name)) for name in names]
    return sorted(path for path in found if os.path.isfile(root / path))


def is_matched(path, patterns):
    return any(fnmatch.fnmatch(path, pattern) for pattern in patterns)


def said_by(root, *command):
    """What a tool that fails has to say; nothing when it finds nothing."""
    done = subprocess.run(command, cwd=root, capture_output=True, text=True, errors="replace")
    return "" if done.returncode == 0 else done.stdout + done.stderr or f"{command[0]} fails"


def said_of_each(root, sources, *command):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return "".join(pool.map(lambda source: said_by(root, *command, source), sources))


def planted(root):
    return said_by(root, sys.executable, "-B", pathlib.Path(__file__).with_name("lint_test.py"))


def tidy(root):
    said = said_by(root, "cmake", "--preset", "lint")
    if said:
        return said
    commands = json.loads((root / BUILD / "compile_commands.json").read_text())
    # The largest first, so that none is left alone at the end.
    sources = sorted({each["file"] for each in commands}, key=os.path.getsize, reverse=True)
    return said_of_each(root, sources, "clang-tidy-14", "-p", BUILD, "--quiet")


def layout(root):
    sources = [path for path in texts_of(root) if re.search(r"\.(?:h|hpp|c|cpp)$", path)]
    return said_of_each(root, sources, "clang-format-14", "--dry-run", "-Werror")


def is_script(path):
    with open(path, "rb") as file:
        return re.match(rb"#!(?:/usr)?/bin/(?:env )?(?:ba)?sh\b", file.readline()) is not None


def shell(root):
    scripts = [path for path in texts_of(root) if is_script(root / path)]
    return said_by(root, "shellcheck", *scripts) if scripts else "no scripts"


def spell(root):
    texts = [path for path in texts_of(root) if not is_matched(path, NO_TEXT)]
    return said_by(root, "codespell", *texts)


def wishes(root):
    """The sections of .editorconfig: patterns, and what they ask for."""
    sections, found = [], {}
    for line in (root / ".editorconfig").read_text().splitlines():
        if line.startswith("["):
            found = {}
            sections.append((line[1:-1].split(","), found))
        elif "=" in line and not line.startswith("#"):
            name, _, value = (part.strip() for part in line.partition("="))
            found[name] = value
    return sections


def faults_of_text(content, asked):
    if asked.get("charset") == "utf-8":
        try:
            content.decode()
        except UnicodeDecodeError as error:
            yield 0, f"is no UTF-8: {error}"
    if asked.get("insert_final_newline") == "true" and content and not content.endswith(b"\n"):
        yield 0, "does not end with a line feed"
    for number, line in enumerate(content.split(b"\n"), 1):
        if asked.get("end_of_line") == "lf" and line.endswith(b"\r"):
            yield number, "ends with a carriage return"
        elif asked.get("trim_trailing_whitespace") == "true" and line.endswith((b" ", b"\t")):
            yield number, "ends with white space"
        if asked.get("indent_style") == "space" and line.startswith(b"\t"):
            yield number, "is indented with a tab"
        if asked.get("indent_style") == "tab" and line.startswith(b"  "):
            yield number, "is indented with spaces"


def editor(root):
    sections, said = wishes(root), []
    for path in texts_of(root):
        asked = {}
        for patterns, found in sections:
            if is_matched(path, patterns) or is_matched(os.path.basename(path), patterns):
                asked.update(found)
        said += [f"{path}:{line}: {fault}\n"
                 for line, fault in faults_of_text((root / path).read_bytes(), asked)]
    return "".join(said)


CHECKS = {"planted": planted, "format": layout, "shell": shell, "spell": spell, "editor": editor,
          "tidy": tidy}


def main(root, names):
    failed = 0
    for name in names or CHECKS:
        said = CHECKS[name](root)
        print(f"{'failed' if said else 'passed'}: {name}\n{said}", end="", flush=True)
        failed += bool(said)
    print(f"{len(names or CHECKS) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 2 or set(sys.argv[2:]) - set(CHECKS):
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]))

#!/usr/bin/env python3
"""Compares what `nqtool json` prints with what Python's configparser reads from the same file.

The two syntaxes agree on sections, full-line "#" comments, blank lines and key = value lines. They
differ by rule on a few things; a file that holds one of these is skipped, and counted under the
reason:

- an indented line continues the value before it for configparser;
- a key with an empty value opens a nested block for nqtool;
- a repeated section continues the earlier one for configparser and replaces it for nqtool;
- entries before the first section are an error for configparser, as is an empty key;
- a section's name ends at the last "]" of the line for configparser, at the first for nqtool, and
  only nqtool takes an empty one;
- a lone carriage return ends a line for configparser only, U+0015 for nqtool only;
- nqtool writes keys as they are, so one with a quote or a backslash is no legal JSON.

    system   the unit files of this machine and files like them; at least 50 must be compared
    random   files made at random within what both understand; SEED and ITER may be set
"""

import argparse
import collections
import configparser
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

SKIPPED = 77
LEAST_COMPARED = 50
FOLDERS = ["/usr/lib/systemd", "/etc/systemd", "/usr/share/dbus-1", "/usr/share/applications"]
SUFFIXES = {".service", ".socket", ".timer", ".target", ".mount", ".automount", ".path", ".slice",
            ".conf", ".network", ".link", ".desktop", ".preset"}


def disagreement(text):
    """Why the two readers must not agree on a text, or None."""
    if "\x15" in text or "\r" in text.replace("\r\n", ""):
        return "another line terminator"
    sections = set()
    for line in text.splitlines():
        stripped = line.strip()
        if not stripped or stripped.startswith("#"):
            continue
        if line[0] in " \t":
            return "indented line"
        if stripped.startswith("["):
            name, bracket, rest = stripped[1:].partition("]")
            if not bracket or not name or "]" in rest:
                return "bracket in a section header"
            if name in sections:
                return "repeated section"
            sections.add(name)
        else:
            name, equals, value = stripped.partition("=")
            if not sections:
                return "entry before the first section"
            if not equals:
                return "line without \"=\""
            if not name.strip():
                return "empty key"
            if not value.strip():
                return "empty value"
        if '"' in name or "\\" in name:
            return "quote or backslash in a key"
    return None


def read_with_configparser(text):
    parser = configparser.ConfigParser(
        strict=False, interpolation=None, delimiters=("=",), comment_prefixes=("#",),
        allow_no_value=False, default_section="\0", empty_lines_in_values=False)
    parser.optionxform = str
    parser.read_string(text)
    return [(section, list(parser.items(section))) for section in parser.sections()]


def read_with_tool(tool, options, path):
    done = subprocess.run([tool, "json", *options, path], capture_output=True, timeout=60,
                          check=False)
    if done.returncode != 0:
        raise ValueError(f"status {done.returncode}: {done.stderr.decode(errors='replace')}")
    # A control character in a value is written as it is, which a strict reader refuses.
    value = json.loads(done.stdout.decode(), strict=False)
    return [(section, list(entries.items())) for section, entries in value.items()]


def compare(tool, options, path):
    """An explanation when the readers differ on the file, or None."""
    wanted = read_with_configparser(path.read_text(encoding="utf-8"))
    try:
        found = read_with_tool(tool, options, path)
    except (ValueError, AttributeError, subprocess.TimeoutExpired) as error:
        return f"{path}: {error}"
    if found == wanted:
        return None
    for one, other in zip(wanted, found):
        if one != other:
            return f"{path}: wanted {one!r}, found {other!r}"
    return f"{path}: wanted {len(wanted)} sections, found {len(found)}"


def compare_system(tool):
    paths = sorted(path for folder in FOLDERS for path in pathlib.Path(folder).rglob("*")
                   if path.suffix in SUFFIXES and path.is_file() and not path.is_symlink())
    skipped, compared, entries, failures = collections.Counter(), 0, 0, []
    for path in paths:
        try:
            text = path.read_text(encoding="utf-8")
        except (OSError, UnicodeDecodeError):
            skipped["not readable as text"] += 1
            continue
        reason = disagreement(text)
        if reason:
            skipped[reason] += 1
            continue
        compared += 1
        entries += sum(len(items) for _, items in read_with_configparser(text))
        failures += filter(None, [compare(tool, [], path)])
    print(f"{len(paths)} files, {compared} compared with {entries} entries, "
          f"{sum(skipped.values())} skipped, {len(failures)} differ")
    for reason, count in skipped.most_common():
        print(f"  skipped {count}: {reason}")
    if len(paths) < LEAST_COMPARED:
        print(f"skipped: fewer than {LEAST_COMPARED} such files on this machine")
        return failures, True
    if compared < LEAST_COMPARED:
        failures.append(f"only {compared} files compared, wanted {LEAST_COMPARED}")
    return failures, False


# Words of a random file, from one byte a character to four, with what is special elsewhere.
LETTERS = "abcXYZ019 .,:;#'/-_()%${}é€αß你😀\u0301\u00a0"
VALUE_LETTERS = LETTERS + "=[]\"\\\t\x01\x7f"


def random_word(chance, letters, longest):
    length = chance.choice([1, 2, 8, longest, chance.randint(1, longest)])
    # Letters at both ends, so that neither reader has anything to trim.
    middle = "".join(chance.choice(letters) for _ in range(length))
    return chance.choice("abcé你😀") + middle + chance.choice("xyzß€")


def random_text(chance):
    lines = []
    blank = ["", " ", "\t", "  "]
    for number in range(chance.randint(0, 6)):
        # The number makes the name unlike every other section's.
        lines.append(f"[{random_word(chance, LETTERS, 40)}{number}]" + chance.choice(blank))
        names = [random_word(chance, LETTERS, 20) for _ in range(chance.randint(1, 8))]
        for _ in range(chance.randint(0, 12)):
            value = random_word(chance, VALUE_LETTERS, 4000 if chance.random() < 0.05 else 60)
            lines.append(chance.choice(names) + chance.choice(blank) + "=" + chance.choice(blank) +
                         value + chance.choice(blank))
            if chance.random() < 0.2:
                lines.append(chance.choice(["", "  ", "# é comment", "   # indented = comment"]))
    end = chance.choice(["\n", "\r\n"])
    return end.join(lines) + chance.choice(["", end])


def compare_random(tool):
    seed = int(os.environ.get("SEED", random.SystemRandom().randrange(2**32)))
    rounds = int(os.environ.get("ITER", 150))
    print(f"SEED={seed} ITER={rounds}")
    chance = random.Random(seed)
    failures = []
    with tempfile.TemporaryDirectory(prefix="nqtool-compare-") as folder:
        path = pathlib.Path(folder) / "a.conf"
        for number in range(rounds):
            text = random_text(chance)
            if disagreement(text):
                failures.append(f"round {number}: the text is not one that both understand")
                continue
            path.write_bytes(text.encode())
            layout = chance.choice([[], ["--compact"], ["--indent", "-1"], ["--indent", "7"]])
            failure = compare(tool, layout, path)
            if failure:
                failures.append(f"round {number}: {failure}")
    print(f"{rounds} files compared, {len(failures)} differ")
    return failures, False


def main():
    parser = argparse.ArgumentParser(description="Compares nqtool with configparser.")
    parser.add_argument("--tool", required=True)
    parser.add_argument("source", choices=["system", "random"])
    arguments = parser.parse_args()
    run = compare_system if arguments.source == "system" else compare_random
    failures, is_skipped = run(arguments.tool)
    for failure in failures[:20]:
        print(failure[:2000])
    if failures:
        return 1
    return SKIPPED if is_skipped else 0


if __name__ == "__main__":
    sys.exit(main())

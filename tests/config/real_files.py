#!/usr/bin/env python3
"""Compares the library with reader_model.py on the configuration files of this machine.

The files are those that packages put into the system's folders, read where they are: unit files,
desktop entries, themes, and whatever else is written in sections and key = value lines or named
like it. Some are other formats; then both readers must refuse them at the same line.
"""

import argparse
import collections
import json
import os
import stat
import subprocess
import sys

import reader_model

FOLDERS = ["/etc", "/usr/lib", "/usr/share", "/lib"]
SUFFIXES = (".service", ".socket", ".target", ".timer", ".mount", ".automount", ".path", ".slice",
            ".link", ".network", ".preset", ".desktop", ".directory", ".theme", ".colors",
            ".notifyrc", ".ini", ".cfg", ".conf", "_all_languages")
LEAST_FILES = 200
LEAST_BEYOND_LATIN = 20
LARGE = 100 * 1024
LARGEST = 4 * 1024 * 1024

# Blocks of letters that are Latin or shared by scripts; letters elsewhere belong to other scripts.
LATIN = [(0x0000, 0x036F), (0x1D00, 0x1EFF), (0x2000, 0x218F), (0x2C60, 0x2C7F), (0xA720, 0xA7FF),
         (0xAB30, 0xAB6F), (0xFB00, 0xFB06), (0xFF21, 0xFF5A), (0x1D400, 0x1D7FF)]


def is_beyond_latin(character):
    code = ord(character)
    return character.isalpha() and not any(low <= code <= high for low, high in LATIN)


def count_entries(tree):
    return sum(1 if isinstance(value, str) else 1 + count_entries(value) for _, value in tree)


def find_files():
    """Paths of the files that every user may read, each file once."""
    found = {}
    for folder in FOLDERS:
        for parent, _, names in os.walk(folder):
            for name in names:
                path = os.path.join(parent, name)
                if not name.endswith(SUFFIXES) or "\n" in path:
                    continue
                try:
                    about = os.lstat(path)
                except OSError:
                    continue
                if (stat.S_ISREG(about.st_mode) and about.st_mode & stat.S_IROTH
                        and about.st_size <= LARGEST):
                    found.setdefault((about.st_dev, about.st_ino), path)
    return sorted(found.values())


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("dump", help="the program config_dump")
    parser.add_argument("library")
    arguments = parser.parse_args()

    contents = []
    for path in find_files():
        try:
            with open(path, "rb") as file:
                contents.append((path, file.read()))
        except OSError as error:
            print(f"not read: {error}")
    names = b"".join(os.fsencode(path) + b"\n" for path, _ in contents)
    done = subprocess.run([arguments.dump, arguments.library], input=names, capture_output=True,
                          check=False)
    sys.stderr.write(done.stderr.decode(errors="replace"))
    outcomes = done.stdout.decode().split("\n")
    if done.returncode != 0 or outcomes.pop() != "" or len(outcomes) != len(contents):
        print(f"config_dump ended with {done.returncode} after {len(outcomes)} files")
        return 1

    statuses = collections.Counter()
    entries = large = beyond_latin = differing = 0
    for (path, data), outcome in zip(contents, outcomes):
        found = json.loads(outcome)
        wanted = reader_model.read(data)
        if found != wanted:
            differing += 1
            print(f"{path}:\n  wanted {str(wanted)[:1000]}\n  found  {str(found)[:1000]}")
        statuses[wanted["status"]] += 1
        if wanted["status"] == reader_model.OK:
            entries += count_entries(wanted["tree"])
            large += len(data) > LARGE
            beyond_latin += any(map(is_beyond_latin, data.decode(errors="ignore")))

    print(f"{len(contents)} files compared, {differing} differ; {statuses[reader_model.OK]} read "
          f"whole with {entries} entries, of them {large} over 100 KB and {beyond_latin} in scripts "
          f"beyond Latin")
    for status, name in [(reader_model.UNCLOSED_SECTION, "an unclosed section header"),
                         (reader_model.MISSING_EQUALS, "a line without \"=\""),
                         (reader_model.NOT_UTF8, "bytes that are no UTF-8")]:
        print(f"  {statuses[status]} refused for {name}")
    is_enough = (len(contents) >= LEAST_FILES and large and beyond_latin >= LEAST_BEYOND_LATIN)
    if not is_enough:
        print(f"too few: wanted {LEAST_FILES} files, one over 100 KB and {LEAST_BEYOND_LATIN} in "
              "scripts beyond Latin read whole; cmake/setup.sh installs packages that hold them")
    return 0 if is_enough and not differing else 1


if __name__ == "__main__":
    sys.exit(main())

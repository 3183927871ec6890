#!/usr/bin/env python3
"""Holds the pages and the public headers to the tree: what they link to, and the files and folders that
they name, are there; the program in docs/host-interface.md is examples/embed.cpp.

usage: pages.py ROOT

A path that begins with a folder of ROOT is looked for from ROOT, wherever the page has it. Between
back quotes a name with the ending of a source, or with a slash at its end, may leave folders out in
front. `*` stands for any characters, and a word in capitals for any name.
"""
import fnmatch
import os
import pathlib
import re
import sys

PAGES = ["*.md", "docs/*.md", "nqinstance/text/README.md", "nqinstance/**/*.h"]
LINK = re.compile(r"\]\(([^)\s]+)\)")
QUOTED = re.compile(r"`([^`\n]+)`")
SHORT = re.compile(r"(?:[\w.*-]+/)*(?:[\w.*-]+/|[\w*-]+\.(?:allow|cmake|cpp|h|hpp|map|md|py|sh|tsv|txt))")
PROGRAM = re.compile(r"^```cpp\n(.*?)^```$", re.M | re.S)


class Tree:
    def __init__(self, root):
        self.root = root
        self.paths = set()
        for folder, folders, files in os.walk(root):
            here = pathlib.Path(folder).relative_to(root)
            folders[:] = [name for name in folders if name != ".git" and str(here / name) != "build"]
            self.paths.update((here / name).as_posix() + "/" for name in folders)
            self.paths.update((here / name).as_posix() for name in files)
        tops = "|".join(re.escape(path) for path in self.paths if path.count("/") == 1
                        and path.endswith("/"))
        self.full = re.compile(rf"(?<![\w./-])(?:{tops})[\w./*-]*")

    def has(self, path, in_front=""):
        pattern = re.sub(r"\b[A-Z]+(?=\.[a-z]+$)", "*", path.removesuffix(".").removesuffix("/"))
        if "*" not in pattern:
            ends = (pattern, pattern + "/")
            return any(path in self.paths or in_front and
                       any(known.endswith("/" + path) for known in self.paths) for path in ends)
        return any(fnmatch.fnmatchcase(known.removesuffix("/"), front + pattern)
                   for known in self.paths for front in {"", in_front})

    def lost(self, page):
        """Yields what the page names and the tree has not."""
        text = (self.root / page).read_text()
        for target in LINK.findall(text):
            file = target.partition("#")[0]
            if file and "://" not in file and not (self.root / page).parent.joinpath(file).exists():
                yield target
        for path in self.full.findall(text):
            if not self.has(path):
                yield path
        for quoted in QUOTED.findall(text):
            for word in quoted.split():
                if SHORT.fullmatch(word) and not self.full.match(word) and not self.has(word, "*/"):
                    yield word


def main():
    root = pathlib.Path(sys.argv[1])
    tree = Tree(root)
    pages = sorted(page.relative_to(root) for pattern in PAGES for page in root.glob(pattern))
    faults = [f"{page} names {path}, which is not there"
              for page in pages for path in dict.fromkeys(tree.lost(page))]
    if PROGRAM.findall((root / "docs/host-interface.md").read_text()) != [
            (root / "examples/embed.cpp").read_text()]:
        faults.append("docs/host-interface.md does not show examples/embed.cpp")
    print("\n".join(faults) or f"{len(pages)} pages")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

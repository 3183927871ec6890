#!/usr/bin/env python3
"""Checks which folder's files include which.

usage: includes.py ROOT            status 1 when includes.txt, ARCHITECTURE.md and the sources disagree
       includes.py --write ROOT    writes the table into ARCHITECTURE.md

A row of includes.txt is `folder: folder...`: what the folder's files may include besides their own
folder. `folder/*` is a folder with all below it; the row that names a file's folder most exactly
counts. A row for one source file tells what it alone may include besides.
"""
import pathlib
import re
import sys

TABLE = "tests/gate/structure/includes.txt"
SHOWN = re.compile(r"(?<=<!-- includes.txt -->\n```\n).*?(?=```\n)", re.DOTALL)
SOURCE = re.compile(r"\.(?:h|hpp|cpp|c|hpp\.in)$")
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def folder_of(path):
    return path.rpartition("/")[0]


def covers(pattern, folder):
    if pattern.endswith("/*"):
        return f"{folder}/".startswith(pattern[:-1])
    return folder == pattern


def read_table(text):
    rows = {}
    for line in text.splitlines():
        if line and not line.startswith("#"):
            name, _, may = line.partition(":")
            if name in rows:
                raise ValueError(f"two rows for {name}")
            rows[name] = may.split()
    return rows


class Sources:
    """The C and C++ files below a folder, and which of them include which."""

    def __init__(self, root):
        folders = [path for path in root.iterdir() if path.name != "build" and path.name[0] != "."]
        known = {str(path.relative_to(root)) for folder in folders for path in folder.rglob("*")
                 if path.is_file()}
        self.lost = []
        self.edges = {name: self.included(root, known, name)
                      for name in sorted(known) if SOURCE.search(name)}
        self.folders = {folder_of(name) for name in self.edges}

    def included(self, root, known, name):
        found = []
        for quoted in INCLUDE.findall((root / name).read_text()):
            beside = str(pathlib.PurePosixPath(folder_of(name), quoted))
            target = next((path for path in (quoted, beside) if path in known), None)
            if target:
                found.append(target)
            elif "/" in quoted and quoted.split("/")[0] in {path.split("/")[0] for path in known}:
                self.lost.append(f"{name} includes {quoted}, which is not there")
        return found


class Rules:
    def __init__(self, rows):
        self.rows = rows
        self.unused = {(name, folder) for name, may in rows.items() for folder in may}

    def row_of(self, folder):
        rows = [name for name in self.rows if covers(name, folder)]
        return max(rows, key=lambda name: (len(name.removesuffix("/*")), name[-1] != "*"), default=None)

    def allows(self, source, target):
        """Whether a row says so; then its permission is used."""
        folder = folder_of(source)
        row, wanted = self.row_of(folder), folder_of(target)
        if folder == wanted or (row and row.endswith("/*") and self.row_of(wanted) == row):
            return True
        used = {(name, may) for name in (row, source) for may in self.rows.get(name, ())
                if covers(may, wanted)}
        self.unused -= used
        return bool(used)


def circle(edges):
    """The nodes of a circle, in its order, or nothing."""
    done, path = set(), []

    def visit(node):
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        path.append(node)
        for target in sorted(edges.get(node, ())):
            if found := visit(target):
                return found
        done.add(path.pop())
        return None

    return next((found for node in sorted(edges) if (found := visit(node))), None)


def problems(root):
    table = (root / TABLE).read_text()
    rules, sources = Rules(read_table(table)), Sources(root)
    yield from sources.lost
    for name in rules.rows:
        if name not in sources.edges and not any(covers(name, folder) for folder in sources.folders):
            yield f"{TABLE}: there is no {name}"
    for folder in sorted(sources.folders):
        if not rules.row_of(folder):
            yield f"{TABLE}: no row for {folder}"
    # A source file with a row of its own is above its folder; nothing includes it.
    arrows = {}
    for source, targets in sources.edges.items():
        for target in targets:
            if not rules.allows(source, target):
                yield f"{source} must not include {target}"
            ends = [name if name in rules.rows else rules.row_of(folder_of(name))
                    for name in (source, target)]
            if None not in ends and ends[0] != ends[1]:
                arrows.setdefault(ends[0], set()).add(ends[1])
    for name, folder in sorted(rules.unused):
        yield f"{TABLE}: {name} includes nothing of {folder}"
    for what, edges in (("files", sources.edges), ("folders", arrows)):
        if found := circle(edges):
            yield f"{what} include each other: {' -> '.join(found)}"
    shown = SHOWN.search((root / "ARCHITECTURE.md").read_text())
    if not shown or shown[0] != table:
        yield f"ARCHITECTURE.md does not show {TABLE}; run {__file__} --write ."


def main(arguments):
    write = arguments[:1] == ["--write"]
    if len(arguments) != 1 + write:
        sys.exit(__doc__)
    root = pathlib.Path(arguments[-1])
    if write:
        page = root / "ARCHITECTURE.md"
        page.write_text(SHOWN.sub(lambda _: (root / TABLE).read_text(), page.read_text()))
    found = list(problems(root))
    print("\n".join(found) or "every include is one that the table allows")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

#!/usr/bin/env python3
"""Writes the headers that define the statuses, and the table of their texts, from statuses.tsv.

    statuses.py [ROOT]

Below ROOT, which is the tree itself unless another is given:

    nqinstance/host/status.h          the statuses of the library, for C
    standalone/base/statuses.hpp      those of the standalone host
    standalone/text/message_table.hpp all codes with their texts, in the order of the codes

The same input gives the same bytes.
"""
import pathlib
import re
import sys
import textwrap

HERE = pathlib.Path(__file__).resolve().parent
WRITTEN = "Written by generate/statuses.py from generate/statuses.tsv; not to be edited."
COLUMNS = 100
# Whose names begin how, and which codes are kept free for whom.
NAMES = {"library": re.compile(r"NQ_(STATUS|MESSAGE)_[A-Z_]+"),
         "host": re.compile(r"NQ_HOST_STATUS_[A-Z_]+")}
HOST_CODES = range(0x803fd000, 0x803fe000)


def check(claim, message):
    if not claim:
        raise SystemExit(f"statuses.py: {message}")


def read_list():
    """The paragraphs as (owner, heading, rows); a row is (code, name, text, comment)."""
    paragraphs = []
    for line in (HERE / "statuses.tsv").read_text(encoding="ascii").splitlines():
        heading = re.fullmatch(r"\[(library|host)\] (.+)", line)
        if heading:
            paragraphs.append((heading[1], heading[2], []))
        elif line and not line.startswith("#"):
            check(paragraphs, f"nobody owns {line}")
            code, name, text, *comment = line.split("\t")
            check(re.fullmatch(r"[0-9a-f]{8}", code), f"{code} is no code")
            check(len(comment) <= 1, f"{name} has too many columns")
            paragraphs[-1][2].append((code, name, text, comment[0] if comment else ""))
    return paragraphs


def check_list(paragraphs):
    rows = [(owner, row) for owner, _, some in paragraphs for row in some]
    for column, what in (0, "code"), (1, "name"), (2, "text"):
        seen = set()
        for _, row in rows:
            check(row[column] not in seen, f"the {what} {row[column]} stands twice")
            seen.add(row[column])
    for owner, (code, name, text, _) in rows:
        check(NAMES[owner].fullmatch(name), f"{name} is no name of the {owner}")
        check((int(code, 16) in HOST_CODES) == (owner == "host"), f"{name} has another's code")
        check(text.endswith("."), f"the text of {name} is no sentence")


def define_lines(rows, opening, closing):
    """A #define a row, the comments of a paragraph below each other."""
    defines = [(f"#define {name} 0x{code}u", comment) for code, name, _, comment in rows]
    width = max((len(define) for define, comment in defines if comment), default=0)
    for define, comment in defines:
        line = f"{define:{width}} {opening} {comment}{closing}" if comment else define
        check(len(line) <= COLUMNS, f"too long: {line}")
        yield line


def comment_lines(text, opening, inner, closing):
    first, *others = textwrap.wrap(text, COLUMNS - len(inner) - len(closing))
    lines = [opening + first] + [inner + other for other in others]
    return lines[:-1] + [lines[-1] + closing]


def library_header(paragraphs):
    lines = [f"/* {WRITTEN} */", "#pragma once", '#include "nqinstance/host/base.h"', "",
             "/* clang-format off */"]
    for _, heading, rows in (p for p in paragraphs if p[0] == "library"):
        lines += comment_lines(heading, "/* ", " * ", " */")
        lines += [*define_lines(rows, "/*", " */"), ""]
    return lines[:-1] + ["/* clang-format on */"]


def host_header(paragraphs):
    lines = [f"// {WRITTEN}", "#pragma once", '#include "nqinstance/host/status.h"', "",
             "// The standalone host's own statuses, beside those of nqinstance/host/status.h.", "",
             "// clang-format off"]
    for _, heading, rows in (p for p in paragraphs if p[0] == "host"):
        lines += comment_lines(heading, "// ", "// ", "")
        lines += [*define_lines(rows, " //", ""), ""]
    return lines[:-1] + ["// clang-format on"]


def message_table(paragraphs):
    lines = [f"// {WRITTEN}", "#pragma once", "#include <string_view>", "",
             '#include "standalone/base/statuses.hpp"', "", "namespace nq {", "",
             "struct Message {", "    NQStatus code;", "    std::string_view text;", "};", "",
             "// Every status and message, in the order of the codes.", "// clang-format off",
             "inline constexpr Message kMessages[] = {"]
    for _, name, text, _ in sorted(row for _, _, rows in paragraphs for row in rows):
        quoted = text.replace("\\", "\\\\").replace('"', '\\"')
        row = f'    {{{name}, "{quoted}"}},'
        lines.append(row if len(row) <= COLUMNS else row.replace(", ", ",\n     ", 1))
    return lines + ["};", "// clang-format on", "", "}  // namespace nq"]


OUTPUTS = {"nqinstance/host/status.h": library_header,
           "standalone/base/statuses.hpp": host_header,
           "standalone/text/message_table.hpp": message_table}


def main(root=HERE.parent):
    paragraphs = read_list()
    check_list(paragraphs)
    for name, make in OUTPUTS.items():
        path = pathlib.Path(root, name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(make(paragraphs)) + "\n", encoding="ascii")


if __name__ == "__main__":
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    main(*sys.argv[1:])

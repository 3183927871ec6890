#!/usr/bin/env python3
"""Writes nqinstance/text/case_tables.cpp from the committed case pairs.

    case_tables.py [OUTPUT]

The pairs stand beside this script, one a line: direction, code point, mapped code point
(hexadecimal, tab-separated).

case_builtin.tsv ("upper", "lower") are the simple one-to-one mappings of the Basic Multilingual
Plane of the Unicode character database 1.1.5. They never move to a newer edition: text that was
folded and stored years ago must still compare equal. Characters without a partner of the same
plane in that edition (U+00DF, U+00B5, U+0130, U+0131, U+03C2) have no pair.

case_wide.tsv ("min", "max") sort the Basic Multilingual Plane of Unicode 9.0 into families: code
points belong together when they share their simple upper-case mapping, their simple lower-case
mapping or their simple case folding. "min" maps each member to the smallest of its family and
"max" to the largest. Capitals mostly come first in Unicode, so these are nearly, but not quite,
upper and lower case: "max" maps K and k to the Kelvin sign U+212A, S and s to the long s U+017F,
I and i to the dotless i U+0131, and U+1D79 to U+A77D. That is what makes a family meet in one
value, and is not to be repaired.

A block is 128 code points. A block with pairs has a row of 128 distances in the shift table; the
meta table gives, for each block, where its row starts, or -1. The same input gives the same bytes.
"""
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
OUTPUT = HERE.parent / "nqinstance" / "text" / "case_tables.cpp"

BLOCK_SIZE = 128
BLOCK_COUNT = 0x10000 // BLOCK_SIZE
NO_ROW = -1
SEE_LIST = -128  # a distance in the byte tables that stands for "look into the list"

# What is known of the tables, so that a slip in the pairs does not become a table.
PAIR_COUNTS = {"upper": 671, "lower": 706, "min": 1134, "max": 1133}
LIST_LENGTHS = {"upper": 20, "lower": 19}
BUILTIN_ROWS = """
    0000 0080 0100 0180 0200 0280 0380 0400 0480 0500 0580 1080 1E00 1E80 1F00 1F80 2100 2480 FF00
"""
MIN_ROWS = """
    0000 0080 0100 0180 0200 0280 0300 0380 0400 0480 0500 0580 1380 1C80 1E00 1E80 1F00 1F80 2100
    2180 2480 2C00 2C80 2D00 A600 A680 A700 A780 AB00 AB80 FF00
"""
MAX_ROWS = """
    0000 0080 0100 0180 0200 0280 0300 0380 0400 0480 0500 1080 1380 1C80 1D00 1E00 1E80 1F00 1F80
    2100 2180 2480 2C00 2C80 A600 A680 A700 A780 FF00
"""


def check(claim, message):
    if not claim:
        raise SystemExit(f"case_tables.py: {message}")


def read_pairs(name):
    """The pairs of each direction, as a map from code point to mapped code point."""
    directions = {}
    for line in (HERE / name).read_text(encoding="ascii").splitlines():
        direction, source, target = line.split("\t")
        pairs = directions.setdefault(direction, {})
        source, target = int(source, 16), int(target, 16)
        check(source not in pairs, f"{name}: {direction} {source:04X} stands twice")
        check(source != target, f"{name}: {direction} {source:04X} maps to itself")
        check(max(source, target) < 0x10000, f"{name}: {direction} {source:04X} is out of range")
        pairs[source] = target
    for direction, pairs in directions.items():
        check(len(pairs) == PAIR_COUNTS[direction], f"{name}: {len(pairs)} {direction} pairs")
    return directions


def blocks_of(*pair_maps):
    """The blocks that need a row, in order."""
    return sorted({source // BLOCK_SIZE for pairs in pair_maps for source in pairs})


def check_rows(blocks, known, name):
    check(blocks == [int(start, 16) // BLOCK_SIZE for start in known.split()],
          f"the {name} rows are {[f'{block * BLOCK_SIZE:04X}' for block in blocks]}")


def meta_table(blocks):
    rows = {block: row * BLOCK_SIZE for row, block in enumerate(blocks)}
    return [rows.get(block, NO_ROW) for block in range(BLOCK_COUNT)]


def shift_table(blocks, pairs):
    return [pairs.get(block * BLOCK_SIZE + low, block * BLOCK_SIZE + low) - block * BLOCK_SIZE - low
            for block in blocks for low in range(BLOCK_SIZE)]


def split_far(pairs, direction):
    """The distances of the near pairs, and the list of the pairs that do not fit a byte."""
    far = {source: target for source, target in pairs.items()
           if not SEE_LIST < target - source < 128}
    check(len(far) == LIST_LENGTHS[direction], f"{len(far)} far {direction} pairs")
    marked = {source: source + SEE_LIST if source in far else target
              for source, target in pairs.items()}
    return marked, [value for pair in sorted(far.items()) for value in pair] + [0, 0]


def definition(element, name, values, per_line, form=str):
    lines = [", ".join(form(value) for value in values[at:at + per_line])
             for at in range(0, len(values), per_line)]
    body = ",\n    ".join(lines)
    return f"constinit const {element} {name}[{len(values)}] = {{\n    {body},\n}};\n"


def hexadecimal(value):
    return f"0x{value:04X}"


def generate():
    builtin = read_pairs("case_builtin.tsv")
    wide = read_pairs("case_wide.tsv")
    blocks = blocks_of(builtin["upper"], builtin["lower"])
    check_rows(blocks, BUILTIN_ROWS, "built-in")

    tables = [definition("std::int16_t", "mwz_metatable", meta_table(blocks), 16)]
    for direction, word in (("upper", "up"), ("lower", "down")):
        marked, far = split_far(builtin[direction], direction)
        tables.append(definition("std::int8_t", f"mwz_{word}shift", shift_table(blocks, marked),
                                 16))
        tables.append(definition("std::uint32_t", f"mwz_{word}aux", far, 8, hexadecimal))
    for direction, known in (("min", MIN_ROWS), ("max", MAX_ROWS)):
        blocks = blocks_of(wide[direction])
        check_rows(blocks, known, direction)
        tables.append(definition("std::int32_t", f"mwz_{direction}_meta", meta_table(blocks), 16))
        tables.append(definition("std::int32_t", f"mwz_{direction}shift",
                                 shift_table(blocks, wide[direction]), 16))
    return ("// Written by generate/case_tables.py from generate/case_builtin.tsv and\n"
            "// generate/case_wide.tsv; not edited.\n"
            "// clang-format off\n"
            '#include "nqinstance/text/case_tables.hpp"\n\n'
            "namespace nq {\n\n" + "\n".join(tables) + "\n}  // namespace nq\n")


def main():
    output = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else OUTPUT
    output.write_text(generate(), encoding="ascii")


if __name__ == "__main__":
    main()

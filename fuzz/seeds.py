#!/usr/bin/env python3
"""Makes the seeds of the fuzz targets.

usage: seeds.py DIRECTORY           writes them, a folder for each target
       seeds.py --check DIRECTORY   compares them with what is there; status 1 on a difference

A seed is what the target's entry reads: a few bytes that choose what is done, then the text.
Inputs that a fuzzer found may stand beside the seeds; they are left alone.
"""
import pathlib
import struct
import sys

ENGLISH = "The lighthouse keeper counted the boats twice before he lit the lamp. ".encode()
FRENCH = "Onze étaient partis à l'aube ; dix seulement étaient à quai. ".encode()
RUSSIAN = "Смотритель маяка дважды пересчитал лодки, прежде чем зажечь лампу. ".encode()
CHINESE = "灯塔的看守人在点灯之前把船数了两遍。".encode()
EMOJI = "🌊🚢🗼💡🌙🌟🐦📖🖊🧮".encode()
MIXED = "Log: «журнал» 港务 🚤 naïve ½ ".encode()
CASES = "aZ éÉ ßẞ İıiI ſsS Kk Ωω Σσς ǄǅǆȺⱥ 𐐀𐐨 Ab".encode()
SPACES = "a \u00a0\u1680\u2000\u200a\u2028\u202f\u205f\u3000\t\n\u0085 ".encode()
SURROGATES = b"\xed\xa0\xbd\xed\xb8\x80\xed\xa0\xbdA\xed\xb8\x80\xed\xaf\xbf\xed\xa0\x80"
MALFORMED = b"\x80\xc0\x80\xc3\xe4\xb8\xf0\x9f\x98\xe0\x80\x80\xf4\x90\x80\x80\xf8\x88\xff\xfe\xc2A"
ZEROS = b"a\0b\xc0\x80\0\0c"

TEXTS = {
    "english": ENGLISH, "french": FRENCH, "russian": RUSSIAN, "chinese": CHINESE, "emoji": EMOJI,
    "mixed": MIXED, "cases": CASES, "spaces": SPACES, "surrogates": SURROGATES,
    "malformed": MALFORMED, "zeros": ZEROS, "empty": b"", "letter": b"x",
    # Long enough for the blocks of every body, with what they do not expect in the middle.
    "long_english": 3 * ENGLISH, "long_chinese": 4 * CHINESE, "long_emoji": 4 * EMOJI,
    "broken_english": ENGLISH + ENGLISH[:31] + b"\xff" + ENGLISH,
    "broken_russian": RUSSIAN + b"\xd0" + RUSSIAN, "cut_chinese": (3 * CHINESE)[:-1],
}


def number(value):
    return struct.pack("<H", value)


def utf_drivers():
    readers = ["utf8", "utf16be", "utf16le", "utf32be", "utf32le"]
    writers = ["utf8", "unit_utf8", "cut_le", "cut_be", "utf16le", "utf16be", "utf32be", "utf32le"]
    for at, (name, text) in enumerate(TEXTS.items()):
        room = 4 * len(text) + 15  # as much as there may be
        # UTF-8 to both orders of UTF-32, with room and without.
        yield f"to_{name}", bytes([0, 7 - at % 2]) + number(room if at % 3 else len(text)) + text
        decoded = text.decode("utf-8", "replace")
        for index, encoding in enumerate(["utf-16-be", "utf-16-le", "utf-32-be", "utf-32-le"], 1):
            encoded = decoded.encode(encoding)
            if (at + index) % 2 == 0:
                yield (f"to_{name}_{readers[index]}",
                       bytes([2 * index, 6 + at % 2]) + number(4 * len(encoded) + 15) + encoded)
        order = at % 2
        units = decoded.encode(["utf-32-be", "utf-32-le"][order])
        writer = at % len(writers)
        yield (f"from_{name}_{writers[writer]}",
               bytes([1 + 2 * (3 + order), writer]) + number(len(units)) + units)
        yield (f"from_{name}_tight",
               bytes([1 + 2 * (3 + order), 0]) + number(len(text)) + units)


def comparisons():
    def pair(name, a, b):
        return name, number(len(a)) + a + b

    for name, text in TEXTS.items():
        yield pair(f"same_{name}", text, text)
        yield pair(f"padded_{name}", text, text + b"   ")
        upper = text.decode("utf-8", "replace").upper().encode()
        yield pair(f"upper_{name}", text, upper)
        yield pair(f"last_{name}", text + b"a", text + b"b")


def string_operations():
    for at, (name, text) in enumerate(TEXTS.items()):
        room = 3 * len(text) + 7  # as much as there may be
        flags = [0, 1, 4, 5][at % 4]
        yield f"encode_{name}", bytes([0, flags]) + number(room) + text
        yield f"decode_{name}", bytes([1, flags]) + number(room if at % 3 else len(text)) + text
        yield f"count_{name}", bytes([5]) + number(at) + text
        if at % 2:
            yield f"justify_{name}", bytes([2, at % 9]) + b"  " + text + b"    "
            yield f"copy_{name}", bytes([3]) + number(len(text) // 2) + text
            yield f"scan_{name}", bytes([8]) + (text[-1:] or b"x") + text
        else:
            yield f"strip_{name}", bytes([4, at % 4]) + text + 2 * SPACES
            yield f"size_{name}", bytes([6]) + text
            needle = text[len(text) // 2:][:9]
            yield f"find_{name}", bytes([7]) + number(len(needle)) + needle + text
    yield "find_repetitive", bytes([7]) + number(41) + 40 * b"a" + b"b" + 200 * b"a" + b"b"
    yield "move_forward", bytes([9]) + number(0) + number(3) + number(90) + ENGLISH + ENGLISH
    yield "move_back", bytes([9]) + number(9) + number(2) + number(70) + ENGLISH + ENGLISH


def case_mapping():
    for at, (name, text) in enumerate(TEXTS.items()):
        room = 3 * len(text) + 2
        for direction, word in enumerate(["lower", "upper"]):
            language = at % 6
            choice = bytes([direction + 2 * language])
            yield f"{word}_{name}", choice + number(room) + text
            if at % 2 == direction:
                yield f"{word}_{name}_tight", choice + number(max(len(text) - 2, 0)) + text


TARGETS = [utf_drivers, comparisons, string_operations, case_mapping]


def main(arguments):
    check = arguments[:1] == ["--check"]
    if len(arguments) != 1 + check:
        sys.exit(__doc__)
    different = 0
    for target in TARGETS:
        folder = pathlib.Path(arguments[-1], target.__name__)
        if not check:
            folder.mkdir(parents=True, exist_ok=True)
        for name, content in target():
            path = folder / name
            if not check:
                path.write_bytes(content)
            elif not path.is_file() or path.read_bytes() != content:
                print(f"{path} is not what the script makes")
                different += 1
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

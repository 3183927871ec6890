#!/usr/bin/env python3
"""Makes the seeds of the fuzz targets.

usage: seeds.py DIRECTORY           adds them to the corpora, a text file for each target
       seeds.py --check DIRECTORY   status 1 when a corpus lacks one

A seed is what the target's entry reads: a few bytes that choose what is done, then the text.
Inputs that a fuzzer found may stand beside the seeds; they are left alone.
"""
import pathlib
import random
import struct
import sys

import corpus

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
        yield (f"own_{name}", bytes([10 + at % 2, 8]) + number(room)
               + (text if at % 2 == 0 else units))
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
    for at, pattern in enumerate([b"a", b"ab", b"aab", "é".encode(), b"abcab", b"\x80"]):
        yield (f"find_periodic_{at}",
               bytes([10, len(pattern) - 1]) + pattern + bytes([7 * at + 3, 50 + at, 1]) + b"b")
    for at, (name, text) in enumerate(TEXTS.items()):
        yield f"units_{name}", bytes([11]) + number(at) + text.decode("utf-8", "replace").encode(
            "utf-32-le")
        yield f"terminated_{name}", bytes([12]) + text
    yield "units_alike", bytes([11]) + number(3) + 70 * b"\1\2\3\4"
    yield "units_no_number", bytes([11]) + number(3) + 40 * b"\0" + b"\1\0\0\0\0\0\xf0\x7f"
    yield "terminated_long", bytes([12]) + 310 * b"x"
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


CONFIGURATIONS = {
    "empty": "", "entry": "name = value", "entries": "a = 1\nb=2\n c = 3 \n",
    "comments": "# first\n\n  # indented\nkey = value # none\n#last", "sections":
    "a = 1\n[one]\nb = 2\n[two]\nc = 3\n[]\nd = 4\n", "block":
    "outer =\n  x = 1\n\ty =\nnext =\nplain = 1\n[s]\nopen=\n z=26\n", "repeated":
    "a = 1\na = 2\n[s]\n[s]\nb = 1\nb =\n", "crlf": "a = 1\r\n[s]\r\nb =\r\n  c = 2\r\n",
    "other_end": "a = 1\x15b = 2\r\x15c = 3", "no_equals": "a = 1\nno equals sign\nb = 2\n",
    "unclosed": "# c\n[s]\na = 1\n[open\n", "mark": "\ufeffname = value\n", "text":
    FRENCH.decode() + "= " + CHINESE.decode() + "\n" + RUSSIAN.decode() + " = " + EMOJI.decode(),
    "blanks": " \t \n\n   =\n = v\n==\n", "trailing": "[a] b\n[a]]\nk = [v]\n[ a ]\n",
}
BROKEN_CONFIGURATIONS = {
    "broken_key": b"a\xff = 1\n", "broken_comment": b"a = 1\n# \xc3\n", "cut": b"a = \xe2\x82",
    "surrogate": b"a = \xed\xa0\x80\n", "zero": b"a\0b = c\0d\n\0",
}


def failure(fails=0, at=0, variant=0, is_sticky=0):
    return bytes([fails | 2 * is_sticky | 4 * variant]) + number(at)


def configurations():
    for name, text in CONFIGURATIONS.items():
        yield name, text.encode()
    yield from BROKEN_CONFIGURATIONS.items()


def configuration():
    def seed(services, pieces, fails, at, length, text):
        return bytes([services, *pieces]) + fails + number(at) + number(length) + text

    whole = (0, 0, 0, 0)
    for at, (name, text) in enumerate(configurations()):
        yield name, seed(0, whole, failure(), 0, 0, text)
        yield f"{name}_pieces", seed(at % 2, (1 + at % 7, at, 3, 0), failure(), 0, 0, text)
        yield f"{name}_fails", seed(0, whole, failure(1, 7 * at, at % 3, at % 2), 0, 0, text)
        # Another transcoder or string service, over several buffers.
        yield (f"{name}_services",
               seed((1 << at % 8) | 4 * at, whole, failure(), 0x4000 | at, 2040 + 3 * at, text))


def text_reader():
    def seed(choice, chunk, lines, fails, at, length, text):
        return (bytes([choice]) + number(chunk) + bytes([lines]) + fails + number(at)
                + number(length) + text)

    lines = {"lines": b"one\ntwo\r\nthree\x15four\r\x15\n\nlast", "returns": b"a\rb\r\r\nc\r"}
    for at, (name, text) in enumerate({**lines, **TEXTS}.items()):
        yield name, seed(16 * (at % 4), 0, 9, failure(), 0, 0, text + b"\n" + text)
        yield (f"{name}_long",
               seed(8 * at % 256, 1 + at, 9, failure(), 0x4000 | at, 2040 + at, text))
        yield f"{name}_fails", seed(128, 0, 5, failure(1, 2 * at, at % 3), 0, 0, text)
    for at, text in enumerate(["one\ntwo\r\n", "\x15", "x" * 99, "\ud7ff\U0010ffff\n", ""]):
        units = text.encode("utf-32-le")
        yield f"units_{at}", seed(7, at, 9, failure(), 0, 0, units + b"ab"[:at % 3])
        yield f"units_{at}_long", seed(7, at, 9, failure(), 0x4000, 4096, units)


def text_stream():
    for at, (name, text) in enumerate(TEXTS.items()):
        for kind in range(3):
            choice = (at + 5 * kind) % 128 // 3 * 3 + kind
            yield f"{name}_{kind}", bytes([choice % 256, at]) + text + b"\n" + text


def scattered(name, count, least, most):
    """Bytes without a pattern, the same each time."""
    generator = random.Random(name)
    for at in range(count):
        yield f"{name}_{at}", generator.randbytes(generator.randint(least, most))


def instances():
    yield from scattered("steps", 60, 20, 200)


def dates():
    times = [0, -1, 86400 * 59, 86400 * 366, 86399.9, -86400, -3661, 1e11, -1e11, 1e300,
             float("inf"), float("nan"), 2**63, -2**63, 86400 * 14669, 4102444800.5]
    for at, time in enumerate(times):
        bits = struct.unpack("<Q", struct.pack("<d", time))[0]
        parts = [bits >> shift & 0xffff for shift in (48, 32, 16, 0)]
        yield f"time_{at}", b"\0" + b"".join(map(number, parts))
    for way, name in enumerate(["seconds", "days"], 1):
        yield from ((found, bytes([way]) + rest) for found, rest in scattered(name, 12, 8, 8))
    for found, rest in scattered("fields", 20, 10, 30):
        yield found, b"\3" + rest


def formatting():
    values = b"".join(number(value) for value in (1, 0x8001, 255, 65)) + 2 * (number(300) + b"\xfe")
    formats = ["plain", "%d", "%lld-%02d", "%5.2f|%e|%g", "%-8x|%#o|%X", "%c%c", "%i %u", "%%",
               "%hhd %hd", "%+d % d", "%a %A", "%*d", "%.*f", "%n", "%", "%5", "%.", "%l", "%q",
               "%2147483648d", "%p", "%zu %jd %td", "%-*d", "%.0f", "%#x", "%05d"]
    for at, text in enumerate(formats):
        yield f"raw_{at}", bytes([16 + at % 4]) + values + text.encode()
    for found, rest in scattered("legal", 40, 30, 120):
        yield found, bytes([rest[0] & 0xcf]) + values + rest
    for at, (name, text) in enumerate(TEXTS.items()):
        yield f"string_{name}", bytes([32]) + values + bytes([at % 2, at, 3 * at]) + text
    yield "forwarded", bytes([7]) + values


def json_writer():
    header = [(0, 0), (1, 0), (1, 0xff), (1, 3), (2, 2), (255, 1)]
    kinds = 16
    for kind in range(kinds):
        mode, indent = header[kind % len(header)]
        for found, rest in scattered(f"kind_{kind}", 2, 12, 40):
            yield found, number(mode) + bytes([indent, kind % 2]) + failure() + bytes([kind]) + rest
    for at, (found, rest) in enumerate(scattered("tree", 40, 40, 300)):
        mode, indent = header[at % len(header)]
        yield (found, number(mode) + bytes([indent, at % 2]) + failure(at % 2, at, at % 3)
               + bytes([3 + at % 2, 7]) + rest)


JSON_TEXTS = [
    "", "null", "true", "[]", "{}", '"text"', "0", "-0", "1.5e3", "-12", "18446744073709551615",
    "9223372036854775808", "-9223372036854775809", "123456789012345678901234567890", "1e400",
    '{"a": [1, 2.5, "x", null, true, {"b": []}]}', '{"a": 1, "a": 2}', '"\\u00e9\\ud83d\\ude00\\n"',
    '"\\ud800"', '"\\udc00"', '"\\q"', '"\\u12"', "[1,]", "[1 2]", '{"a"}', '{"a":}', '{a: 1}',
    "[", "]", "[[[[[[]]]]]]", "tru", "nul", "+1", "01", "1.", ".5", "1e", "--1", "[1] 2", "\ufeff[1]",
    ' \t\r\n[ 1 , 2 ] ', '"a\tb"', '"\u00e9\u4e2d\U0001f600"', "[true, false, null]",
    '{"k\\"": "v\\\\", "": ""}', '["\\/\\b\\f\\n\\r\\t\\""]', "Infinity", "NaN", "//",
    "[99999999999999999999, 1e5]",
]


def json_parser():
    for at, text in enumerate(JSON_TEXTS):
        fails = failure(1, at // 3, at % 3) if at % 5 == 0 else failure()
        yield f"text_{at}", fails + text.encode()
    for at, text in enumerate([b'"\xff"', b'["\xe2\x82"]', b"\xff", b"[1\0]", b'"\xed\xa0\x80"']):
        yield f"bytes_{at}", failure() + text


def base64():
    for name, text in TEXTS.items():
        for length in (len(text), len(text) // 2, min(len(text), 2)):
            yield f"{name}_{length}", bytes([length % 2]) + text[:length]
    for at, text in enumerate(["QUJD", "QUI=", "QQ==", "QUI", "QQ", "QR==", "Q", "Q===", "-_-_", "+/-_",
                               "====", "QUJD=", "QU=D", "QUJDRA==", "QUK=", "QUJ", "QS", "QU=="]):
        yield f"text_{at}", b"\0" + text.encode()


COMMAND_LINES = [
    "", "json", "json a b", "json --indent 3 a", "json --indent=-1", "json --indent 1001",
    "json --indent x", "json --compact a", "json --compact --indent 2", "json -o out a",
    "json --output=out -", "json --library /l.so a", "json --option a=b a", "json --option a",
    "json --option =b", "json --option a= --option b=c=d e", "json --help", "json -h", "json --version",
    "json --unknown", "json -x", "json -- -x --y", "json [a,b]", "json -o [a] [b", "json -oout",
    "text", "text --help", "text nothing", "text upper a b", "text upper --locale tr",
    "text lower --locale=de-AT -", "text compare a b", "text compare a", "text compare a b c",
    "text compare --files --exact a b", "text normalize --form nfkd a", "text normalize --form xyz",
    "text count --lines a", "text find x", "text find", "text find --character-boundary x a b",
    "text encode --long-zero", "text encode --no-pairs", "text encode --no-pairs --long-zero",
    "text decode --no-pairs --long-zero a", "text convert --from utf-16le --to utf-8 a",
    "text convert --from=utf-9", "text convert --buffer 16 --strict", "text convert --buffer 15",
    "text convert --buffer", "--help", "-h", "--version", "--verbose", "help", "json text",
    "text json", "json --output= a", "json \x1fa [ ] ,", "json a --indent",
    "check --definitions d.json --require-all --no-unknown a b", "check a", "check --definitions= a",
    "check --definitions d --max-errors 0 --format sarif --input json -", "describe d --format json",
    "check --definitions d --max-errors -1 --format xml", "describe", "describe a b", "stream a",
    "stream --definitions d --continue", "json --definitions d --compact a",
]


def command_line():
    for at, line in enumerate(COMMAND_LINES):
        yield f"line_{at}", line.replace(" ", "\n").encode()
    yield "empty_argument", b"json\n\n-o\n\n"


DEFINITIONS = {
    "array": ("", ["[1, [2]]", "1, 2", "[", ""]), "dictionary": ("", ['{"a": 1}', "[]", ""]),
    "integer": ("", ["-5", "18446744073709551615", "1.0"]),
    "integer_bounds": ('"min": -5, "max": "max"', ["9223372036854775808", "-6", "7"]),
    "double": ("", ["1.5e3", "9007199254740993", "0018446744073709551616", "inf", "1e999"]),
    "double_bounds": ('"min": 0.5, "max": 1e300', ["0.25", "0.5", "-1"]),
    "boolean": ("", ["Yes", "off", "2", 'a\tb " \\ \x7f']), "int32": ("", ["-2147483648", "2147483648", "1x"]),
    "int32_bounds": ('"min": 1, "max": 65535', ["70000", "0", "443"]),
    "uint32": ('"values": [1, {"min": 5, "max": "max"}]', ["1", "4", "4294967295"]),
    "int64": ("", ["99999999999999999999", "-1"]), "uint64": ('"max": 18446744073709551615', ["7", "-7"]),
    "char": ('"values": ["a", "\u00e9"]', ["a", "\u00e9", "ab", "b"]),
    "string": ('"values": ["tcp", "u dp"]', ["tcp", "udp", ""]), "data": ("", ["AAEC", "AA", "A=", "-_-_"]),
    "date": ("", ["2024-02-29", "20230229"]), "time": ("", ["08:05", "08:05:00.250+0530", "080500-11:30", "08:05:00.1234", "24:00Z"]),
    "datetime": ("", ["2024-02-29T08:05:00Z", "2024-02-29 08:05:00,123", "1959-01-01 00:00", "2024-02-29"]),
    "instance": ('"expectedTypes": [{"dataType": "int32"}, {"dataType": "date"}]', ["1", "2024-01-01", "x"]),
    "instance_any": ("", ["x"]),
}
BAD_DEFINITIONS = [
    "", "[]", '{"a": 1}', '{"a": {"dataType": "int"}}', '{"a": {"dataType": 1}}', '{"a":\n{"b":\n[]}}',
    '{"a": {"dataType": "int32", "min": 2147483648}}', '{"a": {"dataType": "uint64", "min": "min"}}',
    '{"a": {"dataType": "int32", "values": {"min": 1}}}', '{"a": {"dataType": "int32", "values": [{"min": 1}]}}',
    '{"a": {"dataType": "date", "min": 1}}', '{"a": {"dataType": "instance", "expectedTypes": []}}',
    '{"a": {"dataType": "instance", "expectedTypes": [{"dataType": "instance"}]}}',
    '{"a": {"dataType": "instance", "expectedTypes": [1]}}', '{"a": {"dataType": "string", "values": [1]}}',
    '{"a": {"dataType": "int32", "expectedTypes": []}}', '{"a":', 70 * '{"a":' + "{}" + 70 * "}",
    '{"a": {"dataType": "instance", "expectedTypes": [{"dataType": "int32", "min": 1}]}}',
    '{"a": {"dataType": "instance", "expectedTypes": [{"dataType": "int"}]}}', '{"a": {"dataType": "uint32", "max": -1}}',
    '{"a": {"dataType": "integer", "max": 1e19}}', '{"a": {"dataType": "int64", "max": 5.0, "min": 1.5}}',
    '{"a": {"dataType": "int32", "minn": 1}}', '{"a": {"dataType": "int32", "min": 2, "max": 1}}',
    '{"a": {"dataType": "double", "values": [{"min": 1.5, "max": "min"}]}}', '{"a": {"dataType": "char", "values": []}}',
    '{"a": {"dataType": "int64", "description": 1}}', '{"a": {"dataType": "int64", "description": "x"}, "a": {}}',
    '{"a": null}', '{"dataType": "int32"}', '{"a": {"dataType": "double", "min": "x"}}',
]


def definitions_file():
    def seed(choice, definitions, text):
        definitions = definitions.encode()
        return bytes([choice]) + number(len(definitions)) + definitions + text.encode()

    for at, (name, (limits, values)) in enumerate(DEFINITIONS.items()):
        leaf = '{"dataType": "%s"%s}' % (name.partition("_")[0], limits and ", " + limits)
        text = '{"k": %s, "s": {"k":\n%s}}' % (leaf, leaf)
        for number_of, value in enumerate(values):
            yield f"{name}_{number_of}", seed(6 * (at % 2), text, f"k = {value}\n[s]\nk = {value}\n")
    # Of JSON each kind of value for each type.
    everything = ", ".join('"%s": {"dataType": "%s"%s}' % (name, name.partition("_")[0], limits and ", " + limits)
                           for name, (limits, _) in DEFINITIONS.items())
    for at, value in enumerate(["null", "true", "5", "5.0", "-5.5", "18446744073709551615", '"a\\n\\u00e9"', "[1]",
                                '{"a": 1}', '"2024-02-29T08:05:00.123+05:30"', '"AAEC"', f'"{70 * "x"}"', "1e300"]):
        for half in range(2):
            names = list(DEFINITIONS)[half::2]
            fields = ",\n".join(f'"{name}": {value}' for name in names)
            yield f"json_{at}_{half}", seed(1 + 2 * (at % 4), "{%s}" % everything, "{%s}" % fields)
    yield "json_escapes", seed(7, '{"\\u0061\\ud83d\\ude00\\n\\/": {"x": {"dataType": "char"}}}',
                               '{"a\U0001f600\\u000a/":\n{"x": "ab", "\\"y": [{"z": 1}]}}')
    yield "block_value", seed(0, '{"a": {"dataType": "int32"}}', "a =\n x = 1\n")
    yield "empty_value", seed(0, '{"a": {"dataType": "dictionary"}, "b": {"dataType": "int32"}}',
                              "q =\n x = 1\na =\nr =\n x = 1\nb =\n")
    for at, text in enumerate(BAD_DEFINITIONS):
        yield f"bad_{at}", seed(at % 8, text, "a = 1")
    nested = '{"a": {"b": {"c": {"dataType": "boolean"}}, "": {"dataType": "char"}}, "d": {"dataType": "dictionary"}}'
    for at, (name, text) in enumerate(CONFIGURATIONS.items()):
        yield f"text_{name}", seed(at % 4 * 2, nested, text)
    yield "nested", seed(6, nested, "[a]\nb =\n  c = on\n = x\n[d]\n[e]\n")
    yield "repeated", seed(6, nested, "[a]\nb = 1\n[a]\nb =\n c = 1\nb = 2\n")
    yield "marked", seed(6, nested, "\ufeffd =\u2003\n\u00a0[a]\n")


EVERY_JSON_VALUE = ["null", "true", "5", "5.0", "-5.5", "18446744073709551615", '"a\\n\\u00e9"', "[1]", '{"a": 1}',
                    '"2024-02-29T08:05:00.123+05:30"', '"AAEC"', f'"{70 * "x"}"', "1e300", "1e999",
                    "99999999999999999999"]
SECTIONS = ('{"s": {"k": {"dataType": "int32", "max": 9}, "t": {"k": {"dataType": "char"}, "": {"dataType": "date"}}}, '
            '"": {"dataType": "string"}, "l": {"dataType": "array"}, "q\\"": {"dataType": "instance"}}')
RECORDS = {
    "none": "", "empty": "{}", "blank": " \t\r", "sections": '{"s": {"k": 1, "t": {"k": "\u00e9", "": "2024-02-29"}}}',
    "same_keys": '{"s": {"k": 1}, "": "a"}\n{"s": {"k": 2}, "": "b"}\n{"": "c", "s": {"k": 3}}',
    "fault_between": '{"s": {"k": 1, "t": {}}}\n{"s": {"k": 10, "t": {}}}\n{"s": {"k": 2, "t": {}}}',
    "no_section": '{"s": 5}\n{"s": "x"}\n{"s": [1]}\n{"s": null}', "deep_section": '{"s": {"t": [\1\2]}}',
    "twice": '{"": "a", "l": [], "": "b"}', "twice_bad": '{"": 1, "": "b"}\n{"": "b", "": 1}',
    "section_twice": '{"s": {"k": 1}, "s": {"t": {}}}\n{"s": {"k": 10}, "s": {}}\n{"s": {}, "s": 1}',
    "unknown": '{"u": {"v": [1, {"w": null}], "\\u000a": 5}, "x\\\\": "\\u001f\\"\\\\/\\b\\f\\r\\t\\n"}',
    "key_in_need": '{"q\\"": {"q\\"": [1.5, true]}, "s": {"\\t": "\\u0000"}}', "no_object": '[]\n5\n"x"\nnull\n\1\2',
    "not_json": '{\n{"a"}\n{"a": 1,}\n{} {}\n{"a": 01}\ntru\n\ufeff{}\n{"\u00e9": "\u4e2d" 1}',
    "deepest": '{"u": ' + 8 * "\1" + 8 * "\2" + "}", "too_deep": '{"u": ' + 8 * "\1" + "5" + 8 * "\2" + "}",
    "too_deep_list": '{"l": ' + 8 * "\1" + "[]" + 8 * "\2" + "}", "far_too_deep": '{"k": 1, "l": ' + 9 * "\1" + 9 * "\2" + "}",
    "deep_where_section": '{"s": ' + 8 * "\1" + 8 * "\2" + '}\n{"s": ' + 7 * "\1" + 7 * "\2" + "}",
    "great_double": '{"u": 1e300}\n{"u": 1e-400, "v": 123456789012345678901234567890}\n{"u": [1e999]}',
    "surrogates": '{"": "\\ud83d\\ude00"}\n{"": "\\ud83d"}\n{"\\ude00": 1}',
}


def stream_record():
    def seed(choice, definitions, records):
        definitions = definitions.encode()
        return bytes([choice]) + number(len(definitions)) + definitions + records

    for at, (name, (limits, values)) in enumerate(DEFINITIONS.items()):
        leaf = '{"dataType": "%s"%s}' % (name.partition("_")[0], limits and ", " + limits)
        texts = [value if value[:1] in "[{-0123456789" and " " not in value else f'"{value}"' for value in values if value]
        records = "\n".join('{"k": %s, "u": %s}' % (value, value) for value in texts + EVERY_JSON_VALUE[at % 3::3])
        yield name, seed(at % 8, '{"k": %s}' % leaf, records.encode())
        strings = "\n".join('{"s": {"k": "%s"}}' % value.replace('"', "'") for value in values)
        yield f"{name}_texts", seed((at + 3) % 8, '{"s": {"k": %s}}' % leaf, strings.encode())
    for at, (name, records) in enumerate(RECORDS.items()):
        yield f"records_{name}", seed(1 + 2 * (at % 4), SECTIONS, records.encode())
    for at, record in enumerate([b'{"": "\xff"}', b'{"\xe2\x82": 1}', b'{"":\0}', b"{}\0", b'{"": "\xed\xa0\x80"}']):
        yield f"bytes_{at}", seed(at, SECTIONS, record)
    letter = '{"dataType": "instance", "expectedTypes": [{"dataType": "date"}, {"dataType": "char"}, {"dataType": "data"}]}'
    yield "letters", seed(1, '{"k": %s}' % letter, b'{"k": "a"}\n{"k": "2024-02-29"}\n{"k": "AAEC"}\n{"k": ""}\n{"k": "-"}')
    yield "bad_definitions", seed(0, '{"a": 1}', b"{}")


def validation():
    """A failure, a value, then the set of the definition's keys and what each holds."""
    small, words = 105, {"min": 0, "max": 1, "integer": 4, "double": 5, "int32": 7, "string": 12,
                         "date": 14, "instance": 17, "Integer": 18, "array": 2}
    numbers = {"int32": 2, "int64": 4, "uint32": 6, "uint64": 8, "double": 10}

    def text(word, units=0):
        return bytes([words[word], 1 - units]) + (b"\0" if units else b"")

    def value(kind, shift=0):
        return bytes([numbers[kind], small + shift])

    def seed(value, keys, *parts, fails=failure()):
        return fails + value + bytes([keys]) + b"".join(parts)

    for at, kind in enumerate(numbers):
        own = value(kind, 5)
        typed = b"\0" + text("integer", at % 2)
        yield f"{kind}_type", seed(own, 1, b"\0" + text(["integer", "double", "int32"][at % 3]))
        for name, shift in (("below", 6), ("at", 5), ("above", 4)):
            yield f"{kind}_{name}_min", seed(own, 5, typed, value(kind, shift))
            yield f"{kind}_{name}_max", seed(own, 9, typed, value("double", 4 * shift - 20 + 5))
        scalars = bytes([3]) + value("int32", 1) + value("int64", 5) + value("double", 7)
        yield f"{kind}_values", seed(own, 17, typed, scalars)
        ranges = bytes([2]) + bytes([15, 1, 3]) + value("int32") + value("uint32", 3) + own
        yield f"{kind}_ranges", seed(own, 17, typed, ranges)
        yield f"{kind}_half_range", seed(own, 17, typed, bytes([1, 15, 1, 1 + at % 2]) + value(kind))
        yield f"{kind}_no_list", seed(own, 49, typed, value(kind))
        yield f"{kind}_words", seed(own, 13, typed, bytes([13]) + text("min", 1), bytes([13]) + text("max"))
        yield (f"{kind}_fails", seed(own, 9, typed, value(kind, 3), fails=failure(1, at, at % 3, at % 2)))
        wide = bytes([numbers[kind], 0xff]) + bytes(range(at, 9 * at + 9, at + 1))[:9].ljust(9, b"\xff")
        yield f"{kind}_wide", seed(wide, 13, typed, value(kind, 6), wide)
    others = {"boolean": b"\1\1", "character": b"\x0c\x61", "text": b"\x0d" + text("max"),
              "data": b"\x0e\0", "date": b"\x0e\1", "list": b"\x0f\0\0", "range": b"\x0f\1\0"}
    expected = bytes([3, 0, 0]) + text("date") + bytes([0xe5, 0, 0]) + text("string", 1)
    nested = bytes([2, 0, 0]) + text("instance") + bytes([0, 0]) + text("array")
    for name, other in others.items():
        yield f"{name}_expected", seed(other, 3, b"\0" + text("instance"), expected)
        yield f"{name}_nested", seed(other, 3, b"\0" + text("instance"), nested)
        yield f"{name}_any", seed(other, 1, b"\0" + text("instance", 1))
        yield f"{name}_unknown", seed(other, 1, b"\0" + text("Integer"))
        yield f"{name}_untyped", seed(other, 0)


DEFINITION_TEXTS = [
    "{}", '{"min": 5}', '{"max": 5}', '{"min": 1, "max": 9}', '{"min": "min", "max": "max"}',
    '{"values": [1, 5, 9]}', '{"values": []}', '{"values": [{"min": 1, "max": 9}]}',
    '{"values": [{"min": 1}]}', '{"values": [{"max": 1}]}', '{"values": 5}', '{"values": null}',
    '{"values": [null]}', '{"min": null}', '{"min": true}', '{"min": "mix"}', '{"min": 4294967296}',
    '{"max": 1.5, "values": [0.5, {"min": -1e308, "max": 1e308}]}', '{"dataType": "string"}',
    '{"max": 18446744073709551615}', '{"min": -9223372036854775808}', '{"min": "m\\u0069n"}',
    "", "{", "[]", "[1, 2]", "null", "5", '"text"', "true", '{"min": 5,}', '{"min" 5}', "nonsense",
    '{"expectedTypes": "x", "min": 5}', '{"min": {"min": 5}}', '{"values": {"min": 5, "max": 6}}',
]


def definition_text():
    for at, text in enumerate(DEFINITION_TEXTS):
        yield f"small_{at}", bytes([at % 8, 5]) + text.encode()
        yield f"wide_{at}", bytes([8 + (at + 3) % 8]) + bytes([at, 255 - at] * 4) + text.encode()
    yield "broken_utf8", b"\0\5" + b'{"min": "\xff"}'
    yield "zero_inside", b"\0\5" + b'{"min": 6}\0{'


TARGETS = [utf_drivers, comparisons, string_operations, case_mapping, configuration, text_reader,
           instances, dates, formatting, json_writer, json_parser, base64, command_line,
           definitions_file, stream_record, text_stream, validation, definition_text]


def main(arguments):
    check = arguments[:1] == ["--check"]
    if len(arguments) != 1 + check:
        sys.exit(__doc__)
    lacking = 0
    for target in TARGETS:
        path = pathlib.Path(arguments[-1], target.__name__ + ".txt")
        inputs = set(corpus.read(path)) if check or path.is_file() else set()
        seeds = dict(target())
        if not check:
            corpus.write(path, inputs.union(seeds.values()))
            continue
        for name in (name for name, content in seeds.items() if content not in inputs):
            print(f"{path} lacks the seed {name}")
            lacking += 1
    return 1 if lacking else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

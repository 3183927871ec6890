#!/usr/bin/env python3
"""Checks `nqtool text` on random text.

    python   against Python's own text methods and codecs, as far as these mean the same
    chunks   malformed text as well, read in tiny pieces, against the same read in one

Prints the seed; SEED= repeats a run and ITER= sets the number of rounds.
"""

import argparse
import codecs
import os
import random
import re
import subprocess
import sys
import tempfile
import unicodedata
from pathlib import Path

ENCODINGS = {"utf-8": "utf-8", "utf-16le": "utf-16-le", "utf-16be": "utf-16-be",
             "utf-32le": "utf-32-le", "utf-32be": "utf-32-be"}
FORMS = ["nfc", "nfd", "nfkc", "nfkd"]
BUFFERS = [64, 65, 66, 67, 71, 100, 1024]

# Letters of several alphabets and lengths, marks, what composes, what case rules single out.
ALPHABETS = [
    [chr(c) for c in range(0x20, 0x7f)],
    [chr(c) for c in range(0xc0, 0x180)],
    list("αβγάέήίόύώϊϋΐΰΑΒΓΔΏςσΣ"),
    [chr(c) for c in range(0x400, 0x460)],
    list("ßẞıİKkÅåſsǅǆꞑⱥȺɐ\u1e9eﬁﬃ"),
    ["e\u0301", "a\u0323\u0301", "\u1100\u1161\u11a8", "가각", "か\u3099", "\u0344", "\u0f73"],
    list("漢字仮名かなカナ、。"),
    list("😀🎉𐐀𐐨𝒜\U0010ffff"),
]
# Each byte that means something to a reader of UTF-8, or of its modified form.
ODD_BYTES = [b"\x80", b"\xbf", b"\xa9", b"\xc0\x80", b"\xc3", b"\xe0\x80\x80", b"\xe2\x82", b"\xed",
             b"\xed\xa0\xbd", b"\xed\xb8\x80", b"\xed\xa0\xbd\xed\xb8\x80", b"\xf0\x9f\x98",
             b"\xf4\x90\x80\x80", b"\xf5", b"\xf8\x88\x80\x80\x80", b"\xfc\x84\x80", b"\xff"]


def random_word(rng):
    alphabet = rng.choice(ALPHABETS)
    return "".join(rng.choice(alphabet) for _ in range(rng.randrange(1, 6)))


def random_text(rng, most):
    separators = [" ", " ", "\n", "1", "\0", "\r\n"]
    return "".join(random_word(rng) + rng.choice(separators) for _ in range(rng.randrange(most)))


def random_bytes(rng, most):
    parts = [random_text(rng, 3).encode() if rng.random() < 0.6 else rng.choice(ODD_BYTES)
             for _ in range(rng.randrange(most))]
    return b"".join(parts)


def simple_upper(text):
    return "".join(c.upper() if len(c.upper()) == 1 else c for c in text)


def simple_lower(text):
    # The one character whose full mapping has two, by its simple mapping.
    return "".join("i" if c == "\u0130" else c.lower() for c in text)


def encoded(text, has_long_zero):
    """The modified form, made from UTF-16."""
    units = codecs.decode(text.encode("utf-16-le", "surrogatepass"), "utf-16-le")
    wide = "".join(c if c <= "\uffff" else "".join(
        chr(int.from_bytes(c.encode("utf-16-be")[i:i + 2], "big")) for i in (0, 2)) for c in units)
    result = wide.encode("utf-8", "surrogatepass")
    return result.replace(b"\0", b"\xc0\x80") if has_long_zero else result


def order(a, b):
    """The order of two texts of characters whose cases are equally long, blanks at the end aside."""
    a, b = a.rstrip(" "), b.rstrip(" ")
    by_case = 0
    for x, y in zip(a, b):
        if simple_lower(x) != simple_lower(y):
            return "before" if simple_lower(x) < simple_lower(y) else "after"
        by_case = by_case or (x > y) - (x < y)
    if len(a) != len(b):
        return "before" if len(a) < len(b) else "after"
    return {0: "equal", -1: "before by case", 1: "after by case"}[by_case]


def around_difference(wanted, found):
    """Both from shortly before the place where they differ."""
    pairs = zip(wanted, found)
    place = next((i for i, (x, y) in enumerate(pairs) if x != y), min(len(wanted), len(found)))
    begin, end = max(0, place - 40), place + 40
    return f"at {place}\nwanted {wanted[begin:end]!r}\nfound  {found[begin:end]!r}"


class Checker:
    def __init__(self, tool, rng, folder):
        self.tool, self.rng, self.folder = tool, rng, folder
        self.checks = 0

    def run(self, arguments, text):
        return subprocess.run([self.tool, "text", *arguments], input=text, capture_output=True,
                              check=False)

    def expect(self, arguments, text, wanted, status=0, operands=()):
        arguments = [*arguments, "--buffer", str(self.rng.choice(BUFFERS)), *operands]
        done = self.run(arguments, text)
        self.checks += 1
        if (done.stdout, done.stderr, done.returncode) != (wanted, b"", status):
            sys.exit(f"{arguments} on {text[:200]!r}... {around_difference(wanted, done.stdout)}\n"
                     f"status {status} and {done.returncode} {done.stderr!r}")

    def file(self, name, text):
        path = self.folder / name
        path.write_bytes(text)
        return str(path)

    def against_python(self):
        rng = self.rng
        text = random_text(rng, rng.choice([3, 30, 200]))
        utf8 = text.encode()
        self.expect(["upper"], utf8, simple_upper(text).encode())
        self.expect(["lower"], utf8, simple_lower(text).encode())
        self.expect(["upper", "--locale", "en"], utf8, text.upper().encode())
        form = rng.choice(FORMS)
        self.expect(["normalize", "--form", form], utf8,
                    unicodedata.normalize(form.upper(), text).encode())
        self.expect(["count"], utf8, b"%d %d <stdin>\n" % (len(text), len(utf8)))
        lines = text.split("\n")
        lines = lines if lines[-1] else lines[:-1]
        self.expect(["count", "--lines"], utf8,
                    b"".join(b"%d %d <stdin>:%d\n" % (len(line), len(line.encode()), number)
                             for number, line in enumerate(lines, 1)))
        source, target = rng.choice(list(ENCODINGS)), rng.choice(list(ENCODINGS))
        self.expect(["convert", "--from", source, "--to", target],
                    text.encode(ENCODINGS[source]), text.encode(ENCODINGS[target]))
        zero = rng.choice([[], ["--long-zero"]])
        self.expect(["encode", *zero], utf8, encoded(text, bool(zero)))
        self.expect(["decode", *zero], encoded(text, bool(zero)), utf8)
        self.lower_against_python()
        self.find_against_python(text)
        self.order_against_python()

    def lower_against_python(self):
        # The word ends of a sigma, without characters that one may think about differently there.
        text = "".join("".join(self.rng.choice("ΣΑσςBäЖ") for _ in range(self.rng.randrange(6)))
                       + self.rng.choice(" \n1,") for _ in range(60))
        self.expect(["lower", "--locale", "en"], text.encode(), text.lower().encode())

    def find_against_python(self, text):
        rng = self.rng
        begin = rng.randrange(len(text) + 1)
        needle = text[begin:begin + rng.randrange(1, 8)].replace("\0", "") or "e"
        places = []
        for match in re.finditer(re.escape(needle), text):
            before = text[:match.start()]
            places.append("<stdin>:%d:%d:%d\n" % (before.count("\n") + 1,
                                                  len(before) - before.rfind("\n"),
                                                  len(before.encode())))
        how = rng.choice([[], ["--character-boundary"]])
        self.expect(["find", *how], text.encode(), "".join(places).encode(), 0 if places else 3,
                    ["--", needle])

    def order_against_python(self):
        rng = self.rng
        letters = ["aAbB", "äÄöÖ", "жЖ", "漢字", "𐐀𐐨", " ", " "]
        a = "".join(rng.choice(rng.choice(letters)) for _ in range(rng.randrange(1, 120)))
        b = list(a)
        for _ in range(rng.randrange(3)):
            place = rng.randrange(len(b))
            b[place] = rng.choice([b[place].swapcase(), b[place].swapcase(), "x", "字"])
        b = "".join(b) + rng.choice(["", "", " ", " " * 80, "y"])
        words = order(a, b)
        status = {"equal": 0, "before": 10, "before by case": 11, "after by case": 12, "after": 13}
        files = [self.file("a", a.encode()), self.file("b", b.encode())]
        self.expect(["compare", "--files", *files], b"", words.encode() + b"\n", status[words])

    def same_in_chunks(self):
        rng = self.rng
        text = random_bytes(rng, rng.choice([5, 40, 400]))
        needle = rng.choice([b"e", b"\xa9", b"\x80\x80", b"\xed\xa0", "ß".encode(), b"\xc3A"])
        other = self.file("other", rng.choice([text, random_bytes(rng, 20) + text[9:],
                                               text.swapcase(), text + b" " * 99]))
        strict = rng.choice([[], [], ["--strict"]])
        command = rng.choice([
            ["upper"], ["lower"], ["lower", "--locale", rng.choice(["tr", "lt", "el"])],
            ["upper", "--locale", rng.choice(["tr", "lt", "el"])], ["count"], ["count", "--lines"],
            ["normalize", "--form", rng.choice([*FORMS, "casefold"])],
            ["find", needle], ["find", "--character-boundary", needle],
            ["encode"], ["encode", "--no-pairs"], ["decode"], ["decode", "--long-zero"],
            ["convert", "--from", rng.choice(list(ENCODINGS)),
             "--to", rng.choice(list(ENCODINGS))],
            ["compare", "--files", "-", other], ["compare", "--files", other, "-"],
            ["compare", "--exact", "--files", "-", other],
        ])
        # Rules that look around them need a place to divide the text now and then.
        needs_places = command[0] == "normalize" or "--locale" in command
        sizes = [1024, 1500] if needs_places else [16, 17, 18, 19, 31, 64]
        self.same([*command, *strict], text, sizes)

    def uneven_in_chunks(self):
        # Letters whose cases differ in length, so that the texts drift apart.
        letters = ["kK\u212a", "iI\u0130", "ß\u1e9e", "ab", "ab", " "]
        pairs = [self.rng.choice(letters) for _ in range(self.rng.randrange(1, 90))]
        a, b = ("".join(map(self.rng.choice, pairs)) for _ in range(2))
        # A difference near the end, where it depends on the lengths whether it is looked at.
        place = max(0, len(b) - self.rng.randrange(12))
        b = b[:place] + self.rng.choice("ab ") + b[place + self.rng.randrange(2):]
        files = [self.file("a", a.encode()), self.file("b", b.encode())]
        self.same(["compare", "--files", *files], b"", [16, 17, 18, 19, 31, 64])

    def context_in_chunks(self):
        text = "".join("".join(self.rng.choice("IiJj\u0307\u0301\u0323\u012eıİΣΆΈάήΐυι'.a")
                               for _ in range(self.rng.randrange(12))) + self.rng.choice(" \n1-")
                       for _ in range(40)).encode()
        how = [self.rng.choice(["upper", "lower"]), "--locale", self.rng.choice(["tr", "lt", "el"])]
        self.same(how, text, [64, 65, 70, 100])

    def same(self, command, text, sizes):
        size = str(self.rng.choice(sizes))
        whole, chunked = (self.run([*command, *extra], text) for extra in ([], ["--buffer", size]))
        self.checks += 1
        results = [(done.stdout, done.stderr, done.returncode) for done in (whole, chunked)]
        if command[0] == "compare":
            # Little is read behind the place that decides, so that less may be reported.
            if "--strict" in command:
                return
            results = [(done.stdout,) for done in (whole, chunked)]
        if results[0] != results[1]:
            sys.exit(f"{command} --buffer {size} on {text[:200]!r}... "
                     f"{around_difference(whole.stdout, chunked.stdout)}\n{results[0][1:]!r}\n"
                     f"{results[1][1:]!r}")


def main():
    parser = argparse.ArgumentParser(description="Checks nqtool text on random text.")
    parser.add_argument("--tool", required=True, type=Path)
    parser.add_argument("what", choices=["python", "chunks"])
    arguments = parser.parse_args()
    seed = int(os.environ.get("SEED", random.randrange(1 << 32)))
    print(f"SEED={seed}", flush=True)
    with tempfile.TemporaryDirectory(prefix="nqtool-text-") as folder:
        checker = Checker(arguments.tool.resolve(), random.Random(seed), Path(folder))
        if arguments.what == "python":
            for _ in range(int(os.environ.get("ITER", 40))):
                checker.against_python()
        else:
            for _ in range(int(os.environ.get("ITER", 100))):
                checker.same_in_chunks()
                checker.uneven_in_chunks()
                checker.context_in_chunks()
    print(f"{checker.checks} checks")


if __name__ == "__main__":
    main()

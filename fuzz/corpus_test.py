#!/usr/bin/env python3
"""A corpus comes back from its text byte for byte, and the committed ones are what they would be.

usage: corpus_test.py FILE...
"""
import pathlib
import random
import sys
import tempfile
import unittest

import corpus

TROUBLE = ["", " ", "a ", "  ", "\\", "\\x41", "\\n", "\n", "\r\n", "\u2028", "\u0085", "e\u0301",
           "\ufeff", "\u202e", "é", "灯塔", "🌊", "\udc80"]


class Corpus(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def assert_comes_back(self, contents):
        before, after, text = self.root / "before", self.root / "after", self.root / "corpus.txt"
        before.mkdir()
        for number, content in enumerate(contents):
            (before / str(number)).write_bytes(content)
        corpus.pack(before, text)
        corpus.unpack(text, after)
        self.assertEqual(sorted(path.read_bytes() for path in after.iterdir()),
                         sorted(set(contents)))
        for line in text.read_bytes().decode().split("\n"):
            self.assertNotRegex(line, r"[\x00-\x1f\x7f-\x9f]|\s$")

    def test_every_byte_anywhere(self):
        alone = [bytes([byte]) for byte in range(256)]
        self.assert_comes_back(alone + [bytes(range(256)), bytes(range(256)) * 2]
                               + [b"a" + one + b"1" for one in alone])

    def test_trouble(self):
        self.assert_comes_back([text.encode("utf-8", "surrogatepass") for text in TROUBLE])

    def test_random(self):
        chance = random.Random(1)
        letters = [bytes([byte]) for byte in range(256)] + [text.encode() for text in TROUBLE[:-1]]
        self.assert_comes_back([b"".join(chance.choices(letters, k=chance.randrange(40)))
                                for _ in range(500)])

    def test_empty(self):
        self.assert_comes_back([])

    def test_unpacking_replaces(self):
        text, folder = self.root / "corpus.txt", self.root / "inputs"
        for inputs in ([b"a", b"b", b"c"], [b"d"]):
            corpus.write(text, inputs)
            corpus.unpack(text, folder)
        self.assertEqual([path.read_bytes() for path in folder.iterdir()], [b"d"])

    def test_faults_are_refused(self):
        for line in ("\\", "\\x4", "\\xZZ", "\\q", "a\\\\\\"):
            with self.assertRaises(ValueError, msg=line):
                corpus.content_of(line)
        (self.root / "cut.txt").write_text("a\nb")
        with self.assertRaises(ValueError):
            corpus.read(self.root / "cut.txt")

    def test_committed(self):
        self.assertTrue(COMMITTED)
        for path in COMMITTED:
            with self.subTest(path.name):
                inputs = corpus.read(path)
                self.assertTrue(inputs)
                self.assertEqual(inputs, sorted(set(inputs)))
                again = self.root / path.name
                corpus.write(again, inputs)
                self.assertEqual(again.read_bytes(), path.read_bytes())


if __name__ == "__main__":
    COMMITTED = [pathlib.Path(name) for name in sys.argv[1:]]
    unittest.main(argv=sys.argv[:1])

#!/usr/bin/env python3
"""Every change that sample.txt and survivors.txt name is one that the sources still have."""
import sys
import unittest

sys.dont_write_bytecode = True
import mutate


class Committed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.places = mutate.all_mutations(["nqinstance"])

    def test_sample(self):
        names = mutate.listed_lines(mutate.SAMPLE)
        self.assertGreaterEqual(len(names), 400)
        self.assertEqual(len(set(names)), len(names))
        self.assertEqual([name for name in names if name not in self.places], [])

    def test_survivors(self):
        survivors = mutate.known_survivors()
        self.assertEqual([name for name in survivors if name not in self.places], [])
        self.assertEqual([name for name in survivors if not survivors[name].strip()], [])


if __name__ == "__main__":
    unittest.main()

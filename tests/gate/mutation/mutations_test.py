#!/usr/bin/env python3
"""The changes of small pieces of source, and those that must not be made."""
import sys
import unittest

sys.dont_write_bytecode = True
import mutations


def changes(*lines):
    """Every changed line of a piece of source."""
    text = "\n".join(lines)
    return [mutation.changed(lines[mutation.line - 1]).strip()
            for mutation in mutations.find("a.cpp", text)]


class Places(unittest.TestCase):
    def test_operators(self):
        self.assertEqual(changes("    return a < b;"), ["return a <= b;", "return a >= b;"])
        self.assertEqual(changes("    return a && b;"), ["return a || b;"])
        self.assertEqual(changes("    return a <= b - c;"), ["return a < b - c;", "return a <= b + c;"])
        self.assertEqual(changes("    return !a;"), ["return a;"])
        self.assertEqual(changes("    return a", "        << b;")[:1], ["        >> b;".strip()])

    def test_constants(self):
        self.assertEqual(changes("    return 0;"), ["return 1;"])
        self.assertEqual(changes("    return 0x10u;"), ["return 17u;", "return 15u;"])
        self.assertEqual(changes("    return 1'000;"), ["return 1001;", "return 999;"])
        self.assertEqual(changes("    return uint8_t;"), [])

    def test_statements(self):
        self.assertEqual(changes("    count_ = other;"), [";"])
        self.assertEqual(changes("    pool->free(pool, block);"), [";"])
        self.assertEqual(changes("    if (a) return b;"),
                         ["if (false) return b;", "if (true) return b;", ";"])
        self.assertEqual(changes("    break;"), [";"])
        # The second line of a statement is none.
        self.assertEqual(changes("    call(first,", "         second);"), [])

    def test_conditions(self):
        self.assertEqual(changes("    while (next()) {"), ["while (false) {"])
        self.assertEqual(changes("    if (next()) {"), ["if (false) {", "if (true) {"])
        self.assertEqual(changes("    if constexpr (kWide) {"), [])

    def test_what_no_test_can_see(self):
        for line in ("// a < b", "/* 1 */", "static_assert(a == 1);", "#if A == 1", "NQ_FIELD(A, b, 8);"):
            self.assertEqual(changes(line), [], line)

    def test_literals(self):
        self.assertEqual(changes("    return \"a < 1\";"), [])
        self.assertEqual(changes("    return '1';"), [])

    def test_templates_are_no_comparisons(self):
        self.assertEqual(changes("template <class T>"), [])
        self.assertEqual(changes("    T&& moved;"), [";"])

    def test_apply_changes_one_place(self):
        text = "int f() {\n    return 0;\n}\n"
        self.assertEqual([m.apply(text) for m in mutations.find("a.cpp", text)],
                         ["int f() {\n    return 1;\n}\n"])


if __name__ == "__main__":
    unittest.main()

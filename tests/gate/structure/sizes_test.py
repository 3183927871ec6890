#!/usr/bin/env python3
"""What is too large is found, whatever it looks like, and nothing else."""
import unittest

import sizes


def function(head, lines):
    return head + " {\n" + "    step();\n" * (lines - 2) + "}\n"


class Sizes(unittest.TestCase):
    def names(self, text, path="a.cpp"):
        return [what.split(" has ")[0] for what in sizes.too_large(path, text)]

    def test_a_function_at_the_limit_is_not_too_large(self):
        self.assertEqual(self.names(function("void run(int x) noexcept", 60)), [])

    def test_each_form_of_a_function_is_found(self):
        for head in ["void run(int x)", "NQ_AVX2 static void run(int x) noexcept",
                     "template <class T>\nvoid run(T x)", "void Table::run(\n    int x) const",
                     "auto run(int x) -> std::array<int, 2>", "Run::run(int x) : a{x}, b(x)",
                     "void run(const std::function<void()>& f = [] { return; })"]:
            with self.subTest(head):
                text = "namespace nq {\n" + function(head, 61) + "}\n"
                self.assertRegex("".join(self.names(text)), r"^a\.cpp:2: (\w+::)?run$")

    def test_what_is_inside_a_class_is_found(self):
        text = "struct Outer {\n    int a{1};\n" + function("    void run()", 61) + "};\n"
        self.assertEqual(self.names(text), ["a.cpp:3: run"])

    def test_a_lambda_belongs_to_its_function(self):
        text = function("void run() {\n    const auto f = [&](int x)", 58) + "    f(1);\n}\n"
        self.assertEqual(self.names(text), ["a.cpp:1: run"])

    def test_tables_and_namespaces_have_no_limit(self):
        rows = "    {1, call(2)},\n" * 100
        self.assertEqual(self.names("namespace nq {\nconst Row rows[] = {\n" + rows + "};\n}\n"), [])

    def test_braces_in_text_and_comments_do_not_count(self):
        lines = '    // }\n    a("}", \'}\', R"(}")");\n' * 30
        self.assertEqual(self.names("void run() {\n" + lines + "}\n"), ["a.cpp:1: run"])

    def test_a_file_has_at_most_500_lines(self):
        self.assertEqual(list(sizes.too_large("a.py", "x\n" * 500)), [])
        self.assertEqual(list(sizes.too_large("a.py", "x\n" * 501)),
                         ["a.py: 501 lines, more than 500"])


if __name__ == "__main__":
    unittest.main()

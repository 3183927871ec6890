#!/usr/bin/env python3
"""Plants a fault for each check of lint.py, in a small project, and sees that it is found."""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
PRESETS = """{"version": 6, "configurePresets": [{"name": "lint", "generator": "Ninja",
"binaryDir": "build/lint", "cacheVariables": {"CMAKE_CXX_COMPILER": "clang++-14",
"CMAKE_EXPORT_COMPILE_COMMANDS": "ON"}}]}
"""
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES CXX)
add_library(small STATIC tool/small.cpp)
target_include_directories(small PRIVATE .)
"""
SOURCE = '#include "tool/small.hpp"\n\nint twice(int value) { return 2 * value; }\n'
FAULTS = {
    "bugprone-use-after-move": """#include <string>
#include <utility>

std::size_t taken(std::string text) {
    const std::string other = std::move(text);
    return text.size() + other.size();
}
""",
    "performance-unnecessary-value-param": """#include <string>

std::size_t length(const std::string text) { return text.size(); }
""",
    "clang-analyzer-core.NullDereference": """int first(const int* values, bool is_set) {
    const int* chosen = is_set ? values : nullptr;
    if (!is_set) return *chosen;
    return *values;
}
""",
}


class PlantedFaults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        for name in (".clang-format", ".clang-tidy", ".codespellrc", ".editorconfig", ".shellcheckrc"):
            shutil.copy(ROOT / name, self.root)
        self.write("CMakePresets.json", PRESETS)
        self.write("CMakeLists.txt", PROJECT)
        self.write("tool/small.hpp", "#pragma once\n\nint twice(int value);\n")
        self.write("tool/small.cpp", SOURCE)
        self.write("run.sh", '#!/bin/sh\nset -eu\necho "$1"\n')
        self.write("Makefile", "all:\n\ttrue\n")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else text.encode())

    def lint(self, *checks):
        done = subprocess.run([sys.executable, "-B", HERE / "lint.py", self.root, *checks],
                              capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def finds(self, check, message):
        status, output = self.lint(check)
        self.assertEqual(status, 1, output)
        self.assertIn(message, output)
        self.assertEqual(output.splitlines()[-1], "0 passed, 1 failed")

    def test_nothing_is_wrong(self):
        status, output = self.lint("tidy", "format", "shell", "spell", "editor")
        self.assertEqual((status, output.splitlines()[-1]), (0, "5 passed, 0 failed"), output)

    def test_tidy(self):
        for name, source in FAULTS.items():
            with self.subTest(name):
                self.write("tool/small.cpp", source)
                self.finds("tidy", name)

    def test_tidy_of_a_header(self):
        self.write("tool/small.hpp", "#pragma once\n" + FAULTS["performance-unnecessary-value-param"]
                   .replace("std::size_t", "inline std::size_t"))
        self.write("tool/small.cpp", '#include "tool/small.hpp"\n')
        self.finds("tidy", "tool/small.hpp")

    def test_tidy_of_what_cannot_be_compiled(self):
        self.write("tool/small.cpp", "int twice(\n")
        self.finds("tidy", "small.cpp:")

    def test_format(self):
        self.write("tool/small.hpp", "#pragma once\n\nint  twice(int value);\n")
        self.finds("format", "tool/small.hpp:3")

    def test_shell(self):
        self.write("run", "#!/usr/bin/env bash\necho $1\n")
        self.finds("shell", "SC2086")

    def test_spell(self):
        self.write("tool/small.cpp", SOURCE + "// It occu" + "red once.\n")
        self.finds("spell", "occurred")

    def test_editor(self):
        for name, text, message in (("a.txt", "end", "does not end with a line feed"),
                                    ("a.txt", "a \n", "a.txt:1: ends with white space"),
                                    ("a.txt", "a\r\n", "ends with a carriage return"),
                                    ("a.txt", b"\xff\n", "is no UTF-8"),
                                    ("a.py", "if a:\n\tb\n", "a.py:2: is indented with a tab"),
                                    ("Makefile", "all:\n    b\n", "is indented with spaces")):
            with self.subTest(message):
                self.write(name, text)
                self.finds("editor", message)
                (self.root / name).unlink()


if __name__ == "__main__":
    unittest.main()

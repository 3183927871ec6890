#!/usr/bin/env python3
"""Plants faults in a small tree and sees that includes.py finds them."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().with_name("includes.py")
TABLE = "tests/gate/structure/includes.txt"
ROWS = "low:\nmiddle: low\nmiddle/entry.cpp: high/*\nhigh/*: low middle\n"


class PlantedFaults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.write("low/low.h", "#pragma once\n#include <stdint.h>\n")
        self.write("middle/middle.hpp", '#include "low/low.h"\n')
        self.write("middle/entry.cpp", '#include "middle.hpp"\n#include "high/high.hpp"\n')
        self.write("high/high.hpp", '#include "middle/middle.hpp"\n#include "high/below/deep.hpp"\n')
        self.write("high/below/deep.hpp", '#  include <low/low.h>\n#include "made.hpp"\n')
        self.table(ROWS)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def add(self, name, line):
        with open(self.root / name, "a") as file:
            file.write(line + "\n")

    def table(self, text):
        self.write(TABLE, text)
        self.write("ARCHITECTURE.md", f"# It\n\n<!-- includes.txt -->\n```\n{text}```\n\nMore.\n")

    def run_script(self, *arguments):
        done = subprocess.run([sys.executable, "-B", SCRIPT, *arguments, self.root],
                              capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def finds(self, *messages):
        self.assertEqual(self.run_script(), (1, list(messages)))

    def test_nothing_is_wrong(self):
        self.assertEqual(self.run_script()[0], 0)

    def test_an_include_that_no_row_allows(self):
        self.write("low/other.cpp", '#include "middle/middle.hpp"\n')
        self.write("low/last.cpp", "")
        self.finds("low/other.cpp must not include middle/middle.hpp",
                   "folders include each other: low -> middle -> low")

    def test_what_one_file_may_another_may_not(self):
        self.write("middle/other.cpp", '#include "high/high.hpp"\n')
        self.finds("middle/other.cpp must not include high/high.hpp",
                   "folders include each other: high/* -> middle -> high/*")

    def test_a_permission_that_nothing_uses(self):
        self.table(ROWS.replace("low:", "low: middle"))
        self.finds(f"{TABLE}: low includes nothing of middle")

    def test_a_folder_without_a_row(self):
        self.write("new/new.h", "")
        self.finds(f"{TABLE}: no row for new")

    def test_a_row_without_a_folder(self):
        self.table(ROWS + "gone:\n")
        self.finds(f"{TABLE}: there is no gone")

    def test_files_in_a_circle(self):
        self.write("low/a.h", '#include "low/b.h"\n')
        self.write("low/b.h", '#include "low/c.h"\n')
        self.write("low/c.h", '#include "low/a.h"\n')
        self.finds("files include each other: low/a.h -> low/b.h -> low/c.h -> low/a.h")

    def test_folders_in_a_circle_that_the_table_allows(self):
        self.write("low/up.cpp", '#include "middle/middle.hpp"\n')
        self.table(ROWS.replace("low:", "low: middle"))
        self.finds("folders include each other: low -> middle -> low")

    def test_an_include_of_what_is_not_there(self):
        self.add("low/low.h", '#include "low/lost.h"')
        self.finds("low/low.h includes low/lost.h, which is not there")

    def test_a_page_with_another_table(self):
        self.write(TABLE, ROWS + "# more\n")
        self.assertEqual(len(self.run_script()[1]), 1)
        self.assertEqual(self.run_script("--write")[0], 0)
        self.assertEqual(self.run_script()[0], 0)
        self.assertIn("# more\n```\n\nMore.\n", (self.root / "ARCHITECTURE.md").read_text())

    def test_a_page_without_a_table(self):
        self.write("ARCHITECTURE.md", "# It\n")
        self.assertEqual(self.run_script()[0], 1)


if __name__ == "__main__":
    unittest.main()

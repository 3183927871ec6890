#!/usr/bin/env python3
"""Plants exports that the sweep does not know and sees that the table is not made.

usage: export_table_test.py
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent / "export_table.py"
LIST = "# a list\n[swept]\nmake drop\n\n[data]\nhandle\n"


def version_script(*names):
    return "{\n  global:\n" + "".join(f"    {name};\n" for name in names) + "  local:\n    *;\n};\n"


class PlantedExports(unittest.TestCase):
    def run_script(self, script, listing):
        """The status, the messages and the table."""
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            (path / "exports.map").write_text(script)
            (path / "exports.txt").write_text(listing)
            done = subprocess.run(
                [sys.executable, SCRIPT, path / "exports.map", path / "exports.txt",
                 path / "table.hpp"], capture_output=True, text=True)
            table = path / "table.hpp"
            messages = [line.partition(": ")[2] for line in done.stderr.splitlines()]
            return done.returncode, messages, table.read_text() if table.exists() else None

    def test_the_table_has_every_export(self):
        status, messages, table = self.run_script(version_script("drop", "handle", "make"), LIST)
        self.assertEqual((status, messages), (0, []))
        self.assertIn('{"make", "swept"},\n    {"drop", "swept"},\n    {"handle", "data"},', table)

    def test_a_new_export_does_not_build(self):
        script = version_script("drop", "handle", "make", "make_more")
        self.assertEqual(
            self.run_script(script, LIST),
            (1, ["make_more is exported, but neither swept nor known not to fail"], None))

    def test_an_export_that_is_gone_does_not_build(self):
        self.assertEqual(
            self.run_script(version_script("drop", "handle"), LIST),
            (1, ["make stands in the sweep's list, but is not exported"], None))

    def test_an_export_stands_in_one_section(self):
        script = version_script("drop", "handle", "make")
        self.assertEqual(self.run_script(script, LIST + "make\n"),
                         (1, ["make stands twice in the sweep's list"], None))


if __name__ == "__main__":
    unittest.main()

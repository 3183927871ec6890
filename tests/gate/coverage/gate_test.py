#!/usr/bin/env python3
"""Plants gaps in a small report and sees that the gate finds them."""
import pathlib
import subprocess
import sys
import tempfile
import json
import unittest

GATE = pathlib.Path(__file__).resolve().with_name("gate.py")


def line(number, count=1, branches=()):
    return {"line_number": number, "count": count, "branches": [{"count": b} for b in branches]}


def file(path, lines, functions=()):
    return {"file": path, "lines": lines,
            "functions": [{"name": name, "execution_count": count} for name, count in functions]}


class PlantedGaps(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        for folder in ("nqinstance", "standalone", "typed", "tool"):
            (self.root / folder).mkdir()
        self.write("nqinstance/exports.map", "{ global: Exported_NQHandle; nqOne; local: *; };")
        self.files = {
            "library": file("nqinstance/one.cpp", [line(n, 1, [1, 2]) for n in range(100)],
                            [("nqOne", 3)]),
            "host": file("standalone/host.cpp", [line(n) for n in range(10)]),
            "typed": file("typed/value.cpp", [line(n) for n in range(10)]),
            "tool": file("tool/main.cpp", [line(n) for n in range(10)])}

    def write(self, name, text):
        (self.root / name).write_text(text)

    def gate(self, *calls):
        self.write("report.json", json.dumps({"files": list(self.files.values())}))
        done = subprocess.run([sys.executable, GATE, self.root, self.root / "report.json",
                               *(self.root / name for name in calls)],
                              capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def fails_with(self, message):
        status, output = self.gate()
        self.assertEqual(status, 1)
        self.assertIn(message, output)

    def test_nothing_is_missed(self):
        status, output = self.gate()
        self.assertEqual(status, 0, output)
        self.assertIn("nqinstance: lines 100 of 100 (100.0 %), branches 200 of 200 (100.0 %)",
                      output)
        self.assertIn("exported operations: 1 of 1", output)
        self.assertIn("7 passed, 0 failed", output)

    def test_lines(self):
        lines = self.files["library"]["lines"]
        lines[0] = line(0, 0)
        self.assertEqual(self.gate()[0], 0)
        lines[1] = line(1, 0)
        self.fails_with("nqinstance: less than 99 % of the lines")
        self.assertIn("nqinstance/one.cpp:1 not reached", self.gate()[1])

    def test_branches(self):
        for number in range(11):
            self.files["library"]["lines"][number] = line(number, 1, [1, 0])
        self.fails_with("nqinstance: less than 95 % of the branches")

    def test_host_and_tool(self):
        for name in ("host", "tool"):
            lines = self.files[name]["lines"]
            lines[0] = line(0, 0)
            self.assertEqual(self.gate()[0], 0)
            lines[1] = line(1, 0)
            self.fails_with("less than 90 % of the lines")
            lines[1] = line(1)

    def test_operation_never_called(self):
        self.files["library"]["functions"][0]["execution_count"] = 0
        self.fails_with("exported and never called: nqOne")
        self.write("calls.out", "fn=(1) main\ncfn=(2) nqOne\n")
        self.assertEqual(self.gate("calls.out")[0], 0)

    def test_nothing_counted(self):
        del self.files["tool"]
        self.fails_with("tool: less than 90 % of the lines")

    def test_left_out(self):
        self.write("tool/main.cpp", "abort();  // GCOVR_EXCL_LINE: never returns\n")
        status, output = self.gate()
        self.assertEqual(status, 0)
        self.assertIn("left out: 1\n  tool/main.cpp:1: never returns\n", output)
        self.write("tool/main.cpp", "abort();  // GCOVR_EXCL_LINE\n")
        self.fails_with("left out without a reason: tool/main.cpp:1")


if __name__ == "__main__":
    unittest.main()

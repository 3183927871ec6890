#!/usr/bin/env python3
"""Makes up results of changes and sees what is said of them."""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import mutate

SCRIPT = pathlib.Path(mutate.__file__)
DRAWN = ["--draw", "20"]  # the places of the sample come and go with the sources


class Verdicts(unittest.TestCase):
    def setUp(self):
        # 18 of 20 noticed, two listed, and one that is no program.
        self.results = {f"change {number}": "some_test" for number in range(18)}
        self.results.update({"same": None, "alike": None, "broken": "build"})
        self.listed = {"same": "changes nothing", "alike": "nor does this"}

    def judge(self, demand=90.0):
        lines, status = mutate.judge(list(self.results), self.results, self.listed, demand)
        return status, "\n".join(lines)

    def test_enough_are_noticed(self):
        status, output = self.judge()
        self.assertEqual(status, 0, output)
        self.assertEqual(output, "1 did not build; of 20 others 18 noticed (90.0 %), 2 listed as "
                                 "unnoticeable, 0 missed")

    def test_too_few_are_noticed(self):
        self.assertEqual(self.judge(90.1)[0], 1)
        # A listed one counts as one that is not noticed.
        self.results["equal"] = None
        self.listed["equal"] = "changes nothing"
        status, output = self.judge()
        self.assertEqual(status, 1)
        self.assertIn("of 21 others 18 noticed (85.7 %), 3 listed as unnoticeable, 0 missed", output)

    def test_what_does_not_build_counts_for_nothing(self):
        self.results.update({f"broken {number}": "build" for number in range(100)})
        status, output = self.judge()
        self.assertEqual(status, 0)
        self.assertIn("101 did not build; of 20 others 18 noticed", output)
        self.results["change 0"] = "build"
        self.assertEqual(self.judge()[0], 1)

    def test_a_survivor_is_missed(self):
        self.results.update({f"more {number}": "some_test" for number in range(1000)})
        self.assertEqual(self.judge()[0], 0)
        self.results["survivor"] = None
        status, output = self.judge()
        self.assertEqual(status, 1)
        self.assertIn("survivor\n", output)
        self.assertIn("2 listed as unnoticeable, 1 missed", output)

    def test_a_listed_change_is_noticed(self):
        self.results["same"] = "other_test"
        status, output = self.judge()
        self.assertEqual(status, 1)
        self.assertIn("other_test: same\n", output)
        self.assertIn("19 noticed (95.0 %), 1 listed as unnoticeable, 0 missed", output)

    def test_what_is_listed_and_not_tried_says_nothing(self):
        self.listed["elsewhere"] = "not in the sample"
        self.assertEqual(self.judge()[0], 0)

    def test_nothing_was_tried(self):
        self.results = {"broken": "build"}
        self.assertEqual(self.judge(0.0)[0], 1)
        self.results = {}
        self.assertEqual(self.judge(0.0)[0], 1)


class Program(unittest.TestCase):
    """The same by the program, to which the results are known before."""

    def setUp(self):
        names = subprocess.run([sys.executable, SCRIPT, *DRAWN, "--list"], capture_output=True,
                               text=True, check=True).stdout.splitlines()
        listed = mutate.known_survivors()
        self.results = {name: None if name in listed else "some_test" for name in names}
        self.noticed = next(name for name in names if name not in listed)

    def run_program(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "results"
            path.write_text("".join(json.dumps({"name": name, "noticed_by": noticed_by}) + "\n"
                                    for name, noticed_by in self.results.items()))
            done = subprocess.run([sys.executable, SCRIPT, *DRAWN, "--jobs", "1", "--demand", "0",
                                   "--results", path], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def test_the_verdict_is_the_exit_status(self):
        status, output = self.run_program()
        self.assertEqual(status, 0, output)
        self.results[self.noticed] = None
        status, output = self.run_program()
        self.assertEqual(status, 1)
        self.assertIn(f"no test notices {self.noticed}\n", output)


if __name__ == "__main__":
    unittest.main()

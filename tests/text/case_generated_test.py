#!/usr/bin/env python3
"""The committed case tables are what the generator makes of the committed pairs.

    case_generated_test.py SOURCE_DIRECTORY SCRATCH_DIRECTORY
"""
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCE, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
COMMITTED = SOURCE / "nqinstance" / "text" / "case_tables.cpp"


def generate(folder, name):
    output = SCRATCH / name
    script = folder / "case_tables.py"
    run = subprocess.run([sys.executable, "-B", script, output], capture_output=True, text=True)
    return run, output


class CaseGenerated(unittest.TestCase):
    def setUp(self):
        self.copy = SCRATCH / "generate"
        shutil.rmtree(self.copy, ignore_errors=True)
        shutil.copytree(SOURCE / "generate", self.copy)

    def change(self, name, edit):
        path = self.copy / name
        path.write_text("".join(edit(path.read_text().splitlines(keepends=True))))

    def expect_refused(self, what):
        run, _ = generate(self.copy, "refused.cpp")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn(what, run.stderr)

    def test_committed_tables_are_the_generated_ones(self):
        run, output = generate(SOURCE / "generate", "case_tables.cpp")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(output.read_bytes(), COMMITTED.read_bytes())

    def test_a_changed_pair_changes_the_tables(self):
        self.change("case_wide.tsv",
                    lambda lines: [line.replace("00E9\t00C9", "00E9\t00C8") for line in lines])
        run, output = generate(self.copy, "changed.cpp")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertNotEqual(output.read_bytes(), COMMITTED.read_bytes())

    def test_a_lost_pair_is_refused(self):
        self.change("case_builtin.tsv", lambda lines: lines[1:])
        self.expect_refused("670 upper pairs")

    def test_a_pair_given_twice_is_refused(self):
        self.change("case_wide.tsv", lambda lines: lines + lines[-1:])
        self.expect_refused("stands twice")

    def test_a_pair_of_another_block_is_refused(self):
        self.change("case_wide.tsv", lambda lines: [line.replace("max\tFF21\tFF41", "max\t4E00\t4E01")
                                                    for line in lines if "max\tFF3A" not in line]
                    + ["max\t4E02\t4E03\n"])
        self.expect_refused("the max rows are")

    def test_a_far_pair_made_near_is_refused(self):
        self.change("case_builtin.tsv",
                    lambda lines: [line.replace("0253\t0181", "0253\t0252") for line in lines])
        self.expect_refused("19 far upper pairs")


if __name__ == "__main__":
    SCRATCH.mkdir(parents=True, exist_ok=True)
    unittest.main(argv=sys.argv[:1])

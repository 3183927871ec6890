#!/usr/bin/env python3
"""Tests the runner of the command-line cases on planted ones."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

RUNNER = pathlib.Path(__file__).parent / "run_cases.py"


class RunCasesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.case = pathlib.Path(folder.name) / "planted.case"

    def run_case(self, text, *options):
        """Runs a case of this text: exit status and what was printed."""
        self.case.write_bytes(text)
        done = subprocess.run([sys.executable, RUNNER, "--tool", sys.executable, "--library",
                               sys.executable, *options, self.case],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def rewrites(self, before, after):
        status, output = self.run_case(before, "--rewrite")
        self.assertEqual((status, output), (0, "planted.case: rewritten\n"
                                               "1 cases, 0 failed, 0 skipped\n"))
        self.assertEqual(self.case.read_bytes(), after)
        self.assertEqual(self.run_case(after)[0], 0)

    def test_a_wrong_case_fails_and_shows_a_diff(self):
        text = b">>> run\nprintf 'a\\nb\\n'; exit 3\n>>> stdout\na\nc\n"
        status, output = self.run_case(text)
        self.assertEqual(status, 1)
        self.assertEqual(output, "planted.case: FAILED\n"
                                 "exit status: wanted 0, found 3\n"
                                 "--- stdout wanted\n+++ stdout found\n@@ -1,2 +1,2 @@\n"
                                 " a\n-c\n+b\n"
                                 "1 cases, 1 failed, 0 skipped\n")
        self.assertEqual(self.case.read_bytes(), text)

    def test_an_output_that_nobody_wanted_is_shown(self):
        status, output = self.run_case(b">>> run\nprintf 'a\\tb' >&2\n")
        self.assertEqual(status, 1)
        self.assertIn("--- stderr wanted\n+++ stderr found\n@@ -0,0 +1 @@\n+a\\tb\\\n", output)

    def test_a_right_case_is_left_alone(self):
        text = b"Shown.\n>>> run\nprintf 'a\\n'; exit 1\n>>> stdout escaped\n\\x61\n>>> exit 1\n"
        for options in [], ["--rewrite"]:
            self.assertEqual(self.run_case(text, *options),
                             (0, "1 cases, 0 failed, 0 skipped\n"))
            self.assertEqual(self.case.read_bytes(), text)

    def test_rewriting_keeps_what_is_no_result(self):
        head = (b"Shown.\nLabels: slow\n>>> file f escaped\n\\x61\\n\\\n>>> stdin\nin\n"
                b">>> run\ncat f -\necho e >&2\n")
        self.rewrites(head + b">>> stdout\nwrong\n>>> stderr\nwrong\n>>> exit 7\n",
                      head + b">>> stdout\na\nin\n>>> stderr\ne\n")

    def test_rewriting_adds_the_sections_that_lack(self):
        head = b">>> run\necho a; echo e >&2; exit 5\n"
        self.rewrites(head, head + b">>> stdout\na\n>>> stderr\ne\n>>> exit 5\n")

    def test_rewriting_takes_away_what_is_empty(self):
        head = b">>> run\ntrue\n"
        self.rewrites(head + b">>> stdout\na\n>>> stderr escaped\n\\x62\n>>> exit 2\n", head)

    def test_rewriting_keeps_an_escaped_section_escaped(self):
        head = b">>> run\nprintf '\\377\\\\a\\r\\nb'\n"
        self.rewrites(head + b">>> stdout escaped\nwrong\n",
                      head + b">>> stdout escaped\n\\xff\\\\a\\r\nb\\\n")

    def test_rewriting_escapes_what_a_plain_section_cannot_hold(self):
        head = b">>> run\nprintf '>>> run\\n'; printf 'no line feed' >&2\n"
        self.rewrites(head, head + b">>> stdout escaped\n\\x3e>> run\n"
                                   b">>> stderr escaped\nno line feed\\\n")

    def test_rewriting_leaves_a_pattern_as_it_is(self):
        head = b">>> run\necho a1; echo e >&2\n>>> stdout pattern\na\\d\n"
        self.rewrites(head, head + b">>> stderr\ne\n")
        wrong = b">>> run\necho a\n>>> stdout pattern\na\\d\n"
        status, output = self.run_case(wrong, "--rewrite")
        self.assertEqual(status, 1)
        self.assertIn("planted.case: FAILED\nstdout does not match\na\\d\nstdout found\na\n",
                      output)
        self.assertEqual(self.case.read_bytes(), wrong)

    def test_a_case_that_cannot_be_run_is_skipped_or_fails(self):
        self.assertEqual(self.run_case(b">>> run\nexit 77\n", "--rewrite"),
                         (77, "planted.case: skipped\n1 cases, 0 failed, 1 skipped\n"))
        for text, fault in ((b">>> nonsense\n", "unknown section nonsense"),
                            (b"no sections\n", "nothing to run")):
            self.assertEqual(self.run_case(text, "--rewrite"),
                             (1, f"planted.case: FAILED\ncannot be run: {fault}\n"
                                 "1 cases, 1 failed, 0 skipped\n"))
            self.assertEqual(self.case.read_bytes(), text)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The committed headers of the statuses are what the script makes of the committed list.

    statuses_generated_test.py SOURCE_DIRECTORY SCRATCH_DIRECTORY
"""
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCE, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
OUTPUTS = ["nqinstance/host/status.h", "standalone/base/statuses.hpp",
           "standalone/text/message_table.hpp"]


class StatusesGenerated(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(SCRATCH, ignore_errors=True)
        shutil.copytree(SOURCE / "generate", SCRATCH / "generate")
        self.list = SCRATCH / "generate" / "statuses.tsv"

    def generate(self):
        script = SCRATCH / "generate" / "statuses.py"
        return subprocess.run([sys.executable, "-B", script], capture_output=True, text=True)

    def changed(self, old, new):
        """What the script says of the list with one change."""
        text = self.list.read_text()
        self.assertIn(old, text)
        self.list.write_text(text.replace(old, new, 1))
        return self.generate()

    def expect_refused(self, old, new, what):
        run = self.changed(old, new)
        self.assertNotEqual(run.returncode, 0)
        self.assertIn(what, run.stderr)

    def test_committed_headers_are_the_generated_ones(self):
        run = self.generate()
        self.assertEqual(run.returncode, 0, run.stderr)
        for name in OUTPUTS:
            self.assertEqual((SCRATCH / name).read_bytes(), (SOURCE / name).read_bytes(), name)

    def test_a_changed_row_changes_the_headers(self):
        run = self.changed("803fe862\tNQ_STATUS_NO_LOCALE\tNo", "803fe863\tNQ_STATUS_NO_TONGUE\tNot a")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn("#define NQ_STATUS_NO_TONGUE 0x803fe863u", (SCRATCH / OUTPUTS[0]).read_text())
        self.assertIn('{NQ_STATUS_NO_TONGUE, "Not a locale', (SCRATCH / OUTPUTS[2]).read_text())

    def test_the_table_is_in_the_order_of_the_codes(self):
        run = self.changed("803fe862\tNQ_STATUS_NO_LOCALE", "803fc001\tNQ_STATUS_NO_LOCALE")
        self.assertEqual(run.returncode, 0, run.stderr)
        table = (SCRATCH / OUTPUTS[2]).read_text()
        self.assertLess(table.index("NQ_STATUS_NO_LOCALE"), table.index("NQ_STATUS_NO_MEMORY"))

    def test_a_code_given_twice_is_refused(self):
        self.expect_refused("803fc003\t", "803fc002\t", "the code 803fc002 stands twice")

    def test_a_name_given_twice_is_refused(self):
        self.expect_refused("NQ_STATUS_TRUNCATED", "NQ_STATUS_MALFORMED",
                            "the name NQ_STATUS_MALFORMED stands twice")

    def test_a_text_given_twice_is_refused(self):
        self.expect_refused("No locale was given.", "The buffer is too small.",
                            "the text The buffer is too small. stands twice")

    def test_a_text_that_is_no_sentence_is_refused(self):
        self.expect_refused("No locale was given.", "No locale", "NQ_STATUS_NO_LOCALE is no sentence")

    def test_a_code_of_the_host_is_refused_for_the_library(self):
        self.expect_refused("803fc003\t", "803fd0ff\t", "NQ_STATUS_INVALID_ARGUMENT has another's code")

    def test_a_code_of_the_library_is_refused_for_the_host(self):
        self.expect_refused("803fd010\t", "803fe010\t",
                            "NQ_HOST_STATUS_UNKNOWN_ENCODING has another's code")

    def test_a_name_of_another_owner_is_refused(self):
        self.expect_refused("NQ_HOST_STATUS_JSON_SYNTAX", "NQ_STATUS_JSON_SYNTAX",
                            "NQ_STATUS_JSON_SYNTAX is no name of the host")


if __name__ == "__main__":
    SCRATCH.mkdir(parents=True, exist_ok=True)
    unittest.main(argv=sys.argv[:1])

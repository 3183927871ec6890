#!/usr/bin/env python3
"""Which commit messages .githooks/commit-msg refuses.

usage: commit_msg_test.py HOOK
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

GOOD = "text: fold case eight bytes at a time\n\nWhy it is so.\n"
REFUSED = {
    "nothing": ("", "module: what"),
    "only what git writes": ("\n# Please enter the commit message\n", "module: what"),
    "no module": ("fold case eight bytes at a time\n", "module: what"),
    "two modules": ("text, json: fold case\n", "one module"),
    "a module in capitals": ("Text: fold case\n", "module: what"),
    "no change": ("text: \n", "module: what"),
    "too long": (f"text: {'x' * 60}\n", "66 columns, 1 too many"),
    "a full stop": ("text: fold case.\n", "full stop"),
    "two changes": ("text: fold case; move the tables\n", "two changes"),
    "no blank line": ("text: fold case\nWhy.\n", "second line"),
    "a long body": (f"text: fold case\n\nWhy\n{'why ' * 18}x\n", "line 4 has 73 columns, 1 too many"),
}
TAKEN = {
    "subject and body": GOOD,
    "a subject alone": "text: fold case\n",
    "the longest subject": f"text: {'x' * 59}\n",
    "letters, not bytes": f"text: {'é' * 59}\n\n{'é' * 35} {'é' * 36}\n",
    "a folder": "text/kernels: fold case\n",
    "comments and a diff": GOOD + f"# {'x' * 100}\n# ------ >8 ------\n+{'x ' * 100}\n",
    "a long address": f"text: fold case\n\n{'x' * 100}\n",
    "of git's own": f"Revert \"{'x' * 100}\"\n",
}


class CommitMessages(unittest.TestCase):
    def said(self, message):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "message")
            path.write_text(message, encoding="utf-8")
            done = subprocess.run([HOOK, path], capture_output=True, text=True)
        self.assertEqual(done.returncode, 1 if done.stderr else 0)
        return done.stderr

    def test_refused(self):
        for name, (message, reason) in REFUSED.items():
            with self.subTest(name):
                self.assertIn(reason, self.said(message))

    def test_taken(self):
        for name, message in TAKEN.items():
            with self.subTest(name):
                self.assertEqual(self.said(message), "")


if __name__ == "__main__":
    HOOK = sys.argv[1]
    unittest.main(argv=sys.argv[:1])

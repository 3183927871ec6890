#!/usr/bin/env python3
"""Plants faults in a small tree and sees that pages.py finds them."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().with_name("pages.py")
PROGRAM = "int main() {}\n"
FINE = """# It

[Host](docs/host-interface.md#embed), [far](https://example.org/tool/none.hpp), [here](#it).
Sources are in tool/, `tool/io/run.hpp` and `io/run.hpp`, written either/or, and `run.hpp` in `io/`.
`tool/io/*.hpp`, `*.hpp` and `tool/NAME.cpp` stand for others; build/release/none.hpp is made.

```sh
cat tool/main.cpp
```
"""


class PlantedFaults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name in ("tool/main.cpp", "tool/io/run.hpp", "build/release/left.hpp"):
            self.write(name, "")
        self.write("examples/embed.cpp", PROGRAM)
        self.write("docs/host-interface.md", f"[Up](../README.md)\n```cpp\n{PROGRAM}```\n")
        self.write("nqinstance/text/README.md", "[loops](../../tool/main.cpp)\n")
        self.write("README.md", FINE)
        self.write("nqinstance/host/pool.h", "/* As docs/host-interface.md says. */\n")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def run_script(self):
        done = subprocess.run([sys.executable, "-B", SCRIPT, self.root], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def finds(self, *messages):
        self.assertEqual(self.run_script(), (1, list(messages)))

    def test_nothing_is_wrong(self):
        self.assertEqual(self.run_script(), (0, ["4 pages"]))

    def test_wrong_paths(self):
        for text, lost in (("[x](docs/none.md)", "docs/none.md"), ("[x](tool/io/#it)\n[y](here.png)", "here.png"),
                           ("It is tool/none.cpp.", "tool/none.cpp."), ("`tool/none/`", "tool/none/"),
                           ("```sh\ncat tool/io/none\n```", "tool/io/none"), ("`none.hpp`", "none.hpp"),
                           ("`cat other/run.hpp`", "other/run.hpp"), ("`none/`", "none/"),
                           ("`io/*.cpp`", "io/*.cpp"), ("`tool/io/NAME.cpp`", "tool/io/NAME.cpp"),
                           ("`left.hpp`", "left.hpp"), ("`un.hpp`", "un.hpp")):
            with self.subTest(text):
                self.write("README.md", FINE + text + "\n")
                self.finds(f"README.md names {lost}, which is not there")

    def test_every_page_is_read(self):
        self.write("docs/other.md", "`none.hpp`\n")
        self.write("nqinstance/host/pool.h", "/* As docs/none.md says. */\n")
        self.write("nqinstance/text/README.md", "`none.hpp`\n")
        self.finds("docs/other.md names none.hpp, which is not there",
                   "nqinstance/host/pool.h names docs/none.md, which is not there",
                   "nqinstance/text/README.md names none.hpp, which is not there")

    def test_another_program(self):
        self.write("examples/embed.cpp", PROGRAM + "\n")
        self.finds("docs/host-interface.md does not show examples/embed.cpp")


if __name__ == "__main__":
    unittest.main()

"""The README's blocks say what the project does: its commands run and print what it shows, its
program is the example.

usage: readme_test.py README TOOL EMBED EXAMPLES

A line of a shell block is run where there is nothing but a copy of EXAMPLES. It ends with status 0
unless its comment says `exit status N`. A block without a language that follows is its output.
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

# Lines that a test does not run: they build, install or fetch.
LEFT_OUT = re.compile(r"make [a-z]+|git clone \S+")
FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.M | re.S)


class Blocks:
    def __init__(self, tool: pathlib.Path, examples: pathlib.Path, made: dict[str, str]):
        self.tool, self.examples, self.made = tool, examples, made
        self.faults: list[str] = []

    def expect(self, what: str, holds: bool, found: str = "") -> None:
        print("ok" if holds else "NOT as the README says", "-", what)
        if not holds:
            self.faults.append(what)
            print(found, end="")

    def run_line(self, line: str, folder: str) -> str:
        environment = {**os.environ, "PATH": f"{self.tool.parent}:{os.environ['PATH']}", "LC_ALL": "C"}
        environment.pop("NQINSTANCE_LIBRARY", None)
        done = subprocess.run(["sh", "-c", line], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False)
        said = re.search(r"# .*\bexit status (\d+)", line)
        output = done.stdout.decode()
        status = int(said[1]) if said else 0
        self.expect(f"{line}: ends with {status}", done.returncode == status,
                    f"it ends with {done.returncode}\n{output}")
        return output

    def shell(self, text: str, shown: str | None) -> None:
        output = ""
        with tempfile.TemporaryDirectory(prefix="readme-") as folder:
            shutil.copytree(self.examples, pathlib.Path(folder, "examples"))
            for line in text.splitlines():
                words = shlex.split(line, comments=True)
                command = self.made.get(" ".join(words), line) if shown is not None else line
                if command.startswith("nqtool "):
                    names = any(word.startswith("examples/") for word in shlex.split(command, comments=True))
                    self.expect(f"{command}: names a file in examples/", names)
                    if names:
                        output += self.run_line(command, folder)
                elif words:
                    understood = shown is None and LEFT_OUT.fullmatch(" ".join(words))
                    self.expect(f"{line}: is understood", bool(understood))
        if shown is not None:
            self.expect(f"the output of {text.strip()}", output == shown, output)

    def check(self, readme: str) -> None:
        blocks = list(FENCE.finditer(readme))
        # A fence that is indented, unclosed or of another kind would hide its block.
        self.expect("every fence belongs to a block",
                    len(re.findall(r"^\s*(?:```|~~~)", readme, re.M)) == 2 * len(blocks))
        waiting = None  # a shell block that has not been run yet
        for block in blocks:
            kind, text = block.groups()
            if waiting and kind == "" and not readme[waiting.end():block.start()].strip():
                self.shell(waiting[2], text)
                waiting = None
                continue
            if waiting:
                self.shell(waiting[2], None)
            waiting = block if kind == "sh" else None
            if kind == "cpp":
                self.expect("the program is examples/embed.cpp",
                            text == (self.examples / "embed.cpp").read_text())
            elif kind != "sh":
                self.expect(f"a block is understood: {kind} {text[:40]!r}", False)
        if waiting:
            self.shell(waiting[2], None)
        commands = {line for block in blocks if block[1] == "sh" for line in block[2].splitlines()}
        self.expect("running and testing take one command each", {"make run", "make test"} <= commands)
        self.expect("the program is shown", any(block[1] == "cpp" for block in blocks))


def main() -> int:
    readme, tool, embed, examples = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
    made_file = re.search(r"^FILE \?= (.+)$", (readme.parent / "Makefile").read_text(), re.M)[1]
    blocks = Blocks(tool, examples, {"make run": f"nqtool json {made_file}"})
    blocks.check(readme.read_text())

    conf = examples / "service.conf"
    library = tool.parent.parent / "lib" / "libnqinstance.so"
    printed = subprocess.run([tool, "json", conf], capture_output=True, text=True, check=True).stdout
    embedded = subprocess.run([embed, library, conf], capture_output=True, text=True, check=True).stdout
    blocks.expect("the program prints what nqtool prints", embedded == printed, embedded)
    return 1 if blocks.faults else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Shows that `nqtool text` works on text of any size in limited memory.

Every command is given a file of SIZE MiB of readable text, and an eighth of that of whatever makes it
work hardest, and must end as it should with at most 64 MiB resident at any time.
"""

import argparse
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

LIMIT = 64 << 20
MEBI = 1 << 20

READABLE = "The quick brown fox, Straße 23; Ёлка, 漢字仮名交じり文。 e\u0301 😀\n".encode()
OTHER_CASE = READABLE.replace(b"quick", b"QUICK")
ONE_LINE = "wörter ohne ende ".encode()
NOTHING_VALID = b"\x80\xff\xed\xa0\x80"

COMMANDS = {
    "upper": (["upper"], [READABLE, ONE_LINE, NOTHING_VALID]),
    "locale": (["lower", "--locale", "tr"], [READABLE]),
    "normalize": (["normalize", "--form", "nfkd"], [READABLE, "\ufdfa ".encode()]),
    "count": (["count", "--lines"], [READABLE, ONE_LINE, b"\n"]),
    "find": (["find", "e"], [READABLE, b"e"]),
    "boundary": (["find", "--character-boundary", "\udc80"], [READABLE, NOTHING_VALID]),
    "encode": (["encode", "--long-zero"], [READABLE, b"\0"]),
    "decode": (["decode"], [READABLE, NOTHING_VALID]),
    "from": (["convert", "--from", "utf-16le", "--to", "utf-32be"], [READABLE, b"\x00\xdc"]),
    "to": (["convert", "--to", "utf-16be"], [READABLE, NOTHING_VALID]),
    "compare": (["compare", "--files"], [(READABLE, OTHER_CASE)]),
}


def write_repeated(path, unit, size):
    block = unit * (MEBI // len(unit))
    with path.open("wb") as file:
        for _ in range(size // MEBI):
            file.write(block)


def run(tool, arguments):
    """Runs the tool: (status, most bytes resident, seconds, messages)."""
    begin = time.monotonic()
    process = subprocess.Popen([tool, "text", *arguments], stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE)
    messages = process.stderr.read().decode()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, usage.ru_maxrss * 1024, time.monotonic() - begin, messages


def is_bounded(tool, options, units, size, folder):
    paths = [folder / name for name in ("a", "b")[:len(units)]]
    for path, unit in zip(paths, units):
        write_repeated(path, unit, size)
    status, resident, seconds, messages = run(tool, [*options, *paths])
    print(f"{' '.join(map(ascii, options))} {units[0][:6]!r}: status {status}, "
          f"{resident / MEBI:.1f} MiB, {seconds:.1f} s", flush=True)
    if status not in (2, -9) and resident <= LIMIT:
        return True
    print(messages)
    return False


def main():
    parser = argparse.ArgumentParser(description="Shows that nqtool text needs little memory.")
    parser.add_argument("--tool", required=True, type=Path)
    parser.add_argument("--size", type=int, required=True, help="of each input, in MiB")
    parser.add_argument("command", choices=[*COMMANDS, "all"])
    arguments = parser.parse_args()

    failed = False
    with tempfile.TemporaryDirectory(prefix="nqtool-memory-") as folder:
        for name in COMMANDS if arguments.command == "all" else [arguments.command]:
            options, inputs = COMMANDS[name]
            for units in inputs:
                units = units if isinstance(units, tuple) else (units,)
                share = 1 if units[0] in (READABLE, ONE_LINE) else 8
                size = arguments.size * MEBI // share
                failed |= not is_bounded(arguments.tool, options, units, size, Path(folder))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

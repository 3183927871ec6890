#!/usr/bin/env python3
"""Shows that `nqtool stream` works on any number of lines in limited memory, and in their order.

SIZE MiB of records are written to the program while its output is read: good ones in shapes that
change from line to line, bad ones of every kind, and a long one now and then. What comes out must be
the good ones in their order, and the rejects the bad ones, with at most 64 MiB resident at any time.
"""

import argparse
import os
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

LIMIT = 64 << 20
MEBI = 1 << 20
DEFINITIONS = b"""{
  "id": {"dataType": "int64", "min": 0},
  "text": {"dataType": "string"},
  "server": {"port": {"dataType": "int32", "max": 65535}, "load": {"dataType": "double"}}
}
"""
LONG = b"a long text " * 10000


def record(number):
    """The line and whether it is good; a good one is in the compact layout already."""
    head = b'{"id":%d,' % number
    kind = number % 23
    if kind == 3:
        return head + b'"server":{"port":%d}}' % (65536 + number), False
    if kind == 7:
        return head + b'"text":"no end', False
    if kind == 11:
        return head + b'"text":"\xff"}', False
    if number % 5000 == 1:
        return head + b'"text":"' + LONG + b'"}', True
    if kind % 3 == 0:
        return head + b'"text":"%d","key%d":[1,{"x":null}]}' % (number, number % 1000), True
    return head + b'"server":{"load":%d.500000,"port":%d},"text":"some text"}' % (kind, kind), True


def feed(pipe, size, good_lines, bad_lines):
    number = written = 0
    block = []
    while written < size:
        line, is_good = record(number)
        (good_lines if is_good else bad_lines).append(number)
        block.append(line)
        written += len(line) + 1
        number += 1
        if len(block) == 1000:
            pipe.write(b"\n".join(block) + b"\n")
            block = []
    pipe.write(b"".join(line + b"\n" for line in block))
    pipe.close()


def main():
    parser = argparse.ArgumentParser(description="Shows that nqtool stream needs little memory.")
    parser.add_argument("--tool", required=True, type=Path)
    parser.add_argument("--size", type=int, required=True, help="of the records, in MiB")
    arguments = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="nqtool-stream-") as name:
        folder = Path(name)
        (folder / "defs.json").write_bytes(DEFINITIONS)
        with (folder / "messages").open("wb") as messages:
            process = subprocess.Popen(
                [arguments.tool, "stream", "--definitions", folder / "defs.json", "--rejects",
                 folder / "rejects"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=messages)
        good_lines, bad_lines = [], []
        feeder = threading.Thread(
            target=feed, args=(process.stdin, arguments.size * MEBI, good_lines, bad_lines))
        feeder.start()
        found, wrong = [], 0
        for line in process.stdout:
            number = int(line[6:line.index(b",")])
            found.append(number)
            wrong += line != record(number)[0] + b"\n"
        feeder.join()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        resident = usage.ru_maxrss * 1024
        rejects = (folder / "rejects").read_bytes()
        places = [int(line.split(b":")[1]) for line in
                  (folder / "messages").read_bytes().splitlines()]
    print(f"{len(good_lines)} good and {len(bad_lines)} bad lines: status {process.returncode}, "
          f"{resident / MEBI:.1f} MiB")
    faults = []
    if process.returncode != 1:
        faults.append("the exit status is not 1")
    if found != good_lines or wrong:
        faults.append("the output is not that of the good lines")
    if rejects != b"".join(record(number)[0] + b"\n" for number in bad_lines):
        faults.append("the rejects are not the bad lines")
    if places != [number + 1 for number in bad_lines]:
        faults.append("the messages do not name the bad lines")
    if resident > LIMIT:
        faults.append("that is too much memory")
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

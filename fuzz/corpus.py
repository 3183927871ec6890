#!/usr/bin/env python3
"""Turns a corpus of inputs into a text file that a person can read, and back.

usage: corpus.py unpack FILE FOLDER   FOLDER then holds the inputs, each named for its line of FILE
       corpus.py pack FOLDER FILE     FILE then holds the inputs of FOLDER, each once, in order

An input is a line. What can be printed stands as it is; the rest is \\n, \\t, \\r, \\\\, and \\xNN for
any other byte. A space at the end of a line is \\x20, so that no editor takes it away.
The build unpacks the corpora into its folder fuzz/corpus. To keep an input that was found, put it
beside the others there and pack the folder.
"""
import pathlib
import re
import shutil
import sys
import unicodedata

NAMED = {"\n": "\\n", "\t": "\\t", "\r": "\\r", "\\": "\\\\"}
BYTES = {named[1]: letter.encode() for letter, named in NAMED.items()}
ESCAPE = re.compile(r"\\(?:x([0-9a-f]{2})|([ntr\\]))")


def escaped(letter):
    # A byte that is no UTF-8 arrives as a surrogate. A mark would be drawn into its neighbour.
    if letter in NAMED:
        return NAMED[letter]
    if letter.isprintable() and not unicodedata.category(letter).startswith("M"):
        return letter
    return "".join(f"\\x{byte:02x}" for byte in letter.encode("utf-8", "surrogateescape"))


def line_of(content):
    text = content.decode("utf-8", "surrogateescape")
    line = "".join(map(escaped, text))
    return line[:-1] + "\\x20" if line.endswith(" ") else line


def content_of(line):
    content, end = bytearray(), 0
    for escape in ESCAPE.finditer(line):
        content += plain(line[end:escape.start()])
        content += bytes.fromhex(escape[1]) if escape[1] else BYTES[escape[2]]
        end = escape.end()
    return bytes(content + plain(line[end:]))


def plain(text):
    if "\\" in text:
        raise ValueError(f"no escape: {text}")
    return text.encode()


def read(path):
    """The inputs of a text file, in its order."""
    text = path.read_bytes().decode()
    if text and not text.endswith("\n"):
        raise ValueError(f"{path}: the last line does not end")
    return [content_of(line) for line in text.split("\n")[:-1]]


def write(path, contents):
    path.write_bytes("".join(line_of(one) + "\n" for one in sorted(set(contents))).encode())


def unpack(file, folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for number, content in enumerate(read(file), 1):
        (folder / f"{number:04}").write_bytes(content)


def pack(folder, file):
    write(file, (path.read_bytes() for path in folder.iterdir()))


def main(arguments):
    commands = {"unpack": unpack, "pack": pack}
    if len(arguments) != 3 or arguments[0] not in commands:
        sys.exit(__doc__)
    commands[arguments[0]](*map(pathlib.Path, arguments[1:]))


if __name__ == "__main__":
    main(sys.argv[1:])

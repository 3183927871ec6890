"""Reads the JSON texts of a json_documents program with Python's json and compares the values with
the trees they were made of."""

import base64
import json
import subprocess
import sys

NAMES = {
    "__builtins__": {},
    # Order and repetition of keys count, so a dictionary is compared as its pairs.
    "pairs": lambda *pairs: ("pairs", list(pairs)),
    "double": lambda text: ("double", "%f" % float.fromhex(text)),
    "base64": lambda data: base64.b64encode(data).decode(),
}


def read(text):
    return json.loads(
        text,
        object_pairs_hook=lambda pairs: ("pairs", pairs),
        parse_float=lambda digits: ("double", digits),
    )


def main():
    output = subprocess.run([sys.argv[1]], stdout=subprocess.PIPE, check=True).stdout.decode()
    seed, *lines = output.splitlines()
    print(seed)
    for expression, digits in zip(lines[::2], lines[1::2]):
        text = bytes.fromhex(digits).decode()
        expected = eval(expression, NAMES)
        if read(text) != expected:
            sys.exit(f"read back differently:\n{text}\nfrom {expression}")
    documents = len(lines) // 2
    print(f"{documents} documents read back equal")
    if documents == 0 or len(lines) % 2:
        sys.exit("no documents")


main()

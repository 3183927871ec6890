"""The configuration syntax in Python, written from its rules for comparison with the library.

read() gives what the library's reader must give in the standalone host, which trims Unicode white
space, replaces the value of a repeated key in its place and drops a byte-order mark at the start.
"""

import codecs

OK = 0
NOT_UTF8 = 0x803FE813
UNCLOSED_SECTION = 0x8BBFF853
MISSING_EQUALS = 0x8BBFF854

FILL_BYTES = 2048
WHITE_SPACE = "".join(map(chr, [*range(0x09, 0x0E), 0x20, 0x85, 0xA0, 0x1680, *range(0x2000, 0x200B),
                                0x2028, 0x2029, 0x202F, 0x205F, 0x3000]))


class SyntaxFailure(Exception):
    def __init__(self, status, line):
        super().__init__(status, line)
        self.outcome = {"status": status, "line": line}


class Parser:
    def __init__(self):
        self.root = {}
        self.section = self.root
        self.block = None
        self.lines = 0

    def take(self, line):
        number = self.lines
        self.lines += 1
        indented = line[:1] in ("\t", " ")
        line = line.strip(WHITE_SPACE)
        if not line or line[0] == "#":
            return
        if line[0] == "[":
            name, bracket, _ = line[1:].partition("]")
            if not bracket:
                raise SyntaxFailure(UNCLOSED_SECTION, number)
            self.block = None
            self.section = self.root[name] = {}
            return
        key, equals, value = line.partition("=")
        if not equals:
            raise SyntaxFailure(MISSING_EQUALS, number)
        key, value = key.strip(WHITE_SPACE), value.strip(WHITE_SPACE)
        if self.block is not None and indented:
            self.block[key] = value
        elif self.block is not None:
            self.block = None
            self.section[key] = value
        elif value:
            self.section[key] = value
        else:
            self.block = self.section[key] = {}


def as_list(tree):
    return [[key, value if isinstance(value, str) else as_list(value)]
            for key, value in tree.items()]


def read(data):
    """The outcome of reading a file of these bytes: status, line, and after success the tree."""
    decoder = codecs.getincrementaldecoder("utf-8")("strict")
    parser = Parser()
    rest = ""
    at_start = True
    try:
        # A file is decoded in pieces of the reader's buffer: the lines before a piece that is no
        # UTF-8 are still taken.
        for start in range(0, len(data), FILL_BYTES):
            text = decoder.decode(data[start:start + FILL_BYTES])
            if at_start and text:
                text = text.removeprefix("\ufeff")
                at_start = False
            *lines, rest = (rest + text).replace("\x15", "\n").split("\n")
            for line in lines:
                parser.take(line.removesuffix("\r"))
        if rest:
            parser.take(rest)
    except UnicodeDecodeError:
        return {"status": NOT_UTF8, "line": -1}
    except SyntaxFailure as failure:
        return failure.outcome
    return {"status": OK, "line": -1, "tree": as_list(parser.root)}

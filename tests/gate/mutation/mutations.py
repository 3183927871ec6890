"""The places where a source can be changed, one at a time.

Works on text that is formatted the project's way: a binary operator stands between blanks, and a
statement on one line ends with its semicolon.
"""
import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Mutation:
    path: str
    line: int  # from 1
    start: int  # in the line
    end: int
    replacement: str
    kind: str

    def apply(self, text):
        """The whole file with the change."""
        lines = text.split("\n")
        lines[self.line - 1] = self.changed(lines[self.line - 1])
        return "\n".join(lines)

    def changed(self, line):
        return line[:self.start] + self.replacement + line[self.end:]


# Between blanks: operator, what takes its place, the kind of change.
OPERATORS = [
    ("<=", ["<"], "boundary"), (">=", [">"], "boundary"),
    ("<", ["<=", ">="], "comparison"), (">", [">=", "<="], "comparison"),
    ("==", ["!="], "comparison"), ("!=", ["=="], "comparison"),
    ("&&", ["||"], "logic"), ("||", ["&&"], "logic"),
    ("+", ["-"], "arithmetic"), ("-", ["+"], "arithmetic"),
    ("*", ["+"], "arithmetic"), ("/", ["*"], "arithmetic"), ("%", ["*"], "arithmetic"),
    ("<<", [">>"], "bits"), (">>", ["<<"], "bits"),
    ("&", ["|"], "bits"), ("|", ["&"], "bits"), ("^", ["|"], "bits"),
    ("+=", ["-="], "arithmetic"), ("-=", ["+="], "arithmetic"),
    ("|=", ["&="], "bits"), ("&=", ["|="], "bits"),
]
OPERATOR = {operator: (others, kind) for operator, others, kind in OPERATORS}
OPERATOR_PATTERN = re.compile(
    r"(?<= )(" + "|".join(sorted(map(re.escape, OPERATOR), key=len, reverse=True)) + r")(?= |$)")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f']+|\d[\d']*)([uUlL]*)(?![\w.'])")
STATEMENT = re.compile(r"\s+(?!return\b|const\b|auto\b|using\b|typedef\b|static|constexpr\b|struct\b|"
                       r"class\b|enum\b|template\b|union\b|case\b|default\b|else\b|goto\b|friend\b|"
                       r"extern\b|explicit\b|public\b|private\b|if\b|for\b|while\b|do\b|switch\b)"
                       r"(?P<statement>[\w(*+\-].*;)$")
GUARD = re.compile(r"\s+(?P<statement>if \(.*\) .*;)$")
CONDITION = re.compile(r"\b(?:if|while) \(")
# What a test cannot see: a check of the compiler's, a hint to it.
UNSEEN = re.compile(r"static_assert|__builtin_expect|\[\[|#|NQ_RECORD|NQ_FIELD|__asm__")


def blank_out(text):
    """The text with comments and literals of characters as blanks, so that places stay."""
    pattern = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'", re.S)

    def blank(match):
        # An apostrophe inside a number is no literal.
        if match[0][0] == "'" and re.search(r"[0-9A-Fa-f]$", text[:match.start()]):
            return match[0]
        return re.sub(r"[^\n]", " ", match[0])
    return pattern.sub(blank, text)


def is_balanced(text):
    return all(text.count(opening) == text.count(closing) for opening, closing in ("()", "{}", "[]"))


def condition_end(line, start):
    """Where the parenthesis that opens before `start` closes, or None."""
    depth = 1
    for place in range(start, len(line)):
        depth += {"(": 1, ")": -1}.get(line[place], 0)
        if depth == 0:
            return place
    return None


def in_line(line):
    """Start, end, replacement and kind of every change of a line without comments."""
    for match in OPERATOR_PATTERN.finditer(line):
        others, kind = OPERATOR[match[1]]
        for other in others:
            yield match.start(1), match.end(1), other, kind
    for match in NUMBER.finditer(line):
        value = int(match[1].replace("'", ""), 0)
        for other in ([1] if value == 0 else [value + 1, value - 1]):
            yield match.start(1), match.end(1), str(other), "constant"
    for match in CONDITION.finditer(line):
        end = condition_end(line, match.end())
        if end and ";" not in line[match.end():end] and "constexpr" not in line[:match.start()]:
            yield match.end(), end, "false", "condition"
            if match[0].startswith("if"):
                yield match.end(), end, "true", "condition"
    for match in re.finditer(r"(?<=[ (])!(?=[\w(])", line):
        yield match.start(), match.end(), "", "logic"
    for match in re.finditer(r"(\+\+|--)(?=\w)|(?<=[\w\])])(\+\+|--)", line):
        yield match.start(), match.end(), {"++": "--", "--": "++"}[match[0]], "arithmetic"
    for pattern in (STATEMENT, GUARD):
        match = pattern.match(line)
        if match and is_balanced(line):
            yield match.start("statement"), match.end("statement"), ";", "statement"


def find(path, text):
    """Every change of a file."""
    found = []
    previous = ";"
    for number, line in enumerate(blank_out(text).split("\n"), 1):
        bare = line.rstrip()
        if not bare:
            continue
        if not UNSEEN.search(bare):
            for start, end, replacement, kind in in_line(bare):
                # A line that goes on is no statement of its own.
                if kind == "statement" and previous[-1] not in ";{}:)":
                    continue
                found.append(Mutation(path, number, start, end, replacement, kind))
        previous = bare
    return found

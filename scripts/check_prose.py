#!/usr/bin/env python3
"""Counts words and phrases that make a reader stop (scripts/check prose), in comments and docstrings
of programs, and in documents. scripts/prose_words.txt lists them, each with its ceilings and with what
to use instead. Where more lines have one than its ceiling allows, all of them are printed.

    scripts/check_prose.py             checks
    scripts/check_prose.py --counts    prints how many lines have each, and the ceilings
"""
import io
import re
import sys
import tokenize
from pathlib import Path

import tree_files

WORDS = Path(__file__).resolve().parent / "prose_words.txt"
ENTRY = re.compile(r"(\d+)\s+(\d+)\s+(\S.*?)\s+=>\s+(\S.*)$")

LIKE_C = {".cpp", ".h", ".c", ".rc"}
LIKE_SHELL = {".cmake", ".sh", ".build", ".conf", ".service", ".supp", ".in"}
SHELL_NAMES = {"CMakeLists.txt", "Makefile", "rules", ".clang-tidy"}

# Texts are matched first, so that what looks like a comment in one is passed over. An apostrophe
# between digits divides a number.
C_TOKEN = re.compile(r'R"(?P<end>[^(\s]*)\(.*?\)(?P=end)"|"(?:\\.|[^"\\\n])*"|'
                     r"(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])*'|"
                     r"(?P<comment>//[^\n]*|/\*.*?\*/)", re.DOTALL)
SHELL_COMMENT = re.compile(r"(?:^|\s)#(?!!)(.*)")
FENCE = re.compile(r"^\s*```")


class Entry:
    """A word or phrase, its ceilings by kind of text, and the lines in which it was found."""

    def __init__(self, comments, documents, expression, instead):
        self.ceilings = {"comment": int(comments), "document": int(documents)}
        self.expression = re.compile(expression, re.IGNORECASE)
        self.instead = instead
        self.found = {"comment": [], "document": []}


def entries():
    for number, line in enumerate(WORDS.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        parts = ENTRY.fullmatch(line)
        if not parts:
            sys.exit(f"{WORDS.name}:{number}: not of the form: number number expression => words")
        yield Entry(*parts.groups())


def c_comments(text):
    for token in C_TOKEN.finditer(text):
        if token["comment"]:
            first = text.count("\n", 0, token.start()) + 1
            yield from enumerate(token["comment"].split("\n"), first)


def python_comments(text):
    """Comments, and texts that are a statement of their own: docstrings."""
    before = tokenize.NEWLINE
    for token in tokenize.generate_tokens(io.StringIO(text).readline):
        if token.type == tokenize.COMMENT:
            yield token.start[0], token.string
        elif token.type == tokenize.STRING and before in (tokenize.NEWLINE, tokenize.INDENT,
                                                          tokenize.DEDENT):
            yield from enumerate(token.string.split("\n"), token.start[0])
        if token.type not in (tokenize.COMMENT, tokenize.NL):
            before = token.type


def shell_comments(text):
    for number, line in enumerate(text.split("\n"), 1):
        comment = SHELL_COMMENT.search(line)
        if comment:
            yield number, comment[1]


def markdown_lines(text):
    fenced = False
    for number, line in enumerate(text.split("\n"), 1):
        fence = FENCE.match(line)
        fenced ^= bool(fence)
        if not fenced and not fence:
            yield number, line


def plain_lines(text):
    """Manual pages and Debian's texts. In the former a hyphen is written with a backslash."""
    yield from enumerate(text.replace("\\-", "-").split("\n"), 1)


def prose(path, text):
    """The kind of a file's prose, and its lines with their numbers; None for other files."""
    script = text.split("\n", 1)[0] if text.startswith("#!") else ""
    if path.suffix == ".md":
        return "document", markdown_lines(text)
    if path.parts[:2] == ("docs", "man") or path.parts[0] == "debian" and path.name in (
            "control", "changelog", "copyright"):
        return "document", plain_lines(text)
    if path.suffix in LIKE_C:
        return "comment", c_comments(text)
    if path.suffix == ".py" or "python" in script:
        return "comment", python_comments(text)
    if script or path.suffix in LIKE_SHELL or path.name in SHELL_NAMES:
        return "comment", shell_comments(text)
    return None


def search(words):
    for path, text in tree_files.texts():
        kind, lines = prose(path, text) or (None, ())
        for number, line in lines:
            for entry in words:
                hit = entry.expression.search(line)
                if hit:
                    entry.found[kind].append(f"{path}:{number}: \"{hit[0]}\": {entry.instead}")


def print_counts(words):
    for entry in words:
        counts = "".join(f"{len(entry.found[kind]):4} of {ceiling:3} {kind}s  "
                         for kind, ceiling in entry.ceilings.items())
        print(f"{counts}{entry.expression.pattern}")


def main():
    words = list(entries())
    search(words)
    if sys.argv[1:] == ["--counts"]:
        print_counts(words)
        return 0
    bad = 0
    for entry in words:
        for kind, ceiling in entry.ceilings.items():
            found = entry.found[kind]
            if len(found) > ceiling:
                bad = 1
                print("\n".join(found))
                print(f"{len(found)} {kind} lines have {entry.expression.pattern}, "
                      f"{ceiling} may have it")
    return bad


if __name__ == "__main__":
    sys.exit(main())

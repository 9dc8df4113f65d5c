#!/usr/bin/env python3
"""Prints how many lines are tests, for each folder, and limits the share (scripts/check share).

Counts the lines that are neither blank nor a comment, in all program text that git tracks or would
add: sources, scripts, CMake files. Documents, the inputs of the fuzz targets and other data don't
count. Tests are tests/, fuzz/ and the files elsewhere that only tests use: TEST_FILES.
"""
import collections
import re
import subprocess
import sys
from pathlib import Path

WARNS_ABOVE = 32.0  # percent of all lines
FAILS_ABOVE = 33.3

# Patterns for paths of whole files: fault points and clock shifts of the stand-in, build of tests.
# Scripts count as code.
TEST_FILES = re.compile(r"(tests|fuzz)/|.*_test\.(h|cpp)$|cmake/Plinth\w*Tests?\w*\.cmake$|"
                        r"src/platform/test_interface/|"
                        r"src/platform/system/(faults|clock_shift|test_interface)\.h$")

LIKE_C = {".cpp", ".h", ".c", ".rc"}
LIKE_SHELL = {".py", ".cmake", ".sh", ".s", ".gp", ".in"}
FOLDERS = {"src", "tools", "examples", "bench", "scripts", "cmake", "docs", "tests", "fuzz", ".ci"}


def program_text(path):
    """The text of a counted file, without C's comments of several lines; None for another file."""
    if "/corpus/" in str(path) or not path.is_file():
        return None
    if path.suffix in LIKE_C:
        return re.sub(r"/\*.*?\*/", "", path.read_text(encoding="utf-8"), flags=re.DOTALL)
    if path.suffix in LIKE_SHELL or path.name == "CMakeLists.txt":
        return path.read_text(encoding="utf-8")
    if not path.suffix:
        with path.open("rb") as file:
            if file.read(2) == b"#!":
                return path.read_text(encoding="utf-8")
    return None


def count(path, text):
    """The number of lines, and how many of them are tests."""
    comment = "//" if path.suffix in LIKE_C else "#"
    lines = tests = 0
    whole = bool(TEST_FILES.match(str(path)))
    for line in text.splitlines():
        stripped = line.strip()
        if stripped and not stripped.startswith(comment):
            lines += 1
            tests += whole
    return lines, tests


def main():
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"],
                            capture_output=True, text=True)
    names = listed.stdout.split("\0") if listed.returncode == 0 else [
        str(path) for folder in FOLDERS for path in Path(folder).rglob("*")]
    lines, tests = collections.Counter(), collections.Counter()
    for name in sorted(set(names)):
        path = Path(name)
        if not name or not (path.parts[0] in FOLDERS or name == "CMakeLists.txt"):
            continue
        text = program_text(path)
        if text is None:
            continue
        counted = count(path, text)
        folder = "/".join(path.parts[:2 if path.parts[0] in ("src", "tests") else 1])
        lines[folder] += counted[0]
        tests[folder] += counted[1]

    for folder in sorted(lines):
        print(f"{folder:20} {lines[folder]:7} lines, {tests[folder]:6} of them tests")
    share = 100 * tests.total() / lines.total()
    print(f"{tests.total()} of {lines.total()} lines are tests: {share:.1f} %")
    if share > FAILS_ABOVE:
        sys.exit(f"The share of tests is {share:.1f} %, above {FAILS_ABOVE} %.\n"
                 "  Fold cases that set up the same into one, or drop those that restate the code.")
    if share > WARNS_ABOVE:
        print(f"warning: the share of tests is above {WARNS_ABOVE} %; it fails above {FAILS_ABOVE} %")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Finds circles of includes among the sources of src and tools (scripts/check format).

A file uses the files that implement the headers it includes: x.h and x.cpp of one folder are one
unit. Prints each set of units that all need each other, with what each one includes of it.
"""
import collections
import os
import re
import sys
from pathlib import Path

FOLDERS = ("src", "tools")
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.M)
# Where the compiler looks, after the folder of the file.
ROOTS = ("src/platform", "src/platform/include", "src/w32_system", "src/w32_pthreadVC", "src/wide",
         "tools/viewing", "tools/exporting", "tools/plinth-trace", "tools/plinth-trace-window")
# Circles that stay, each with the reason.
ALLOWED = {
    # The menus call the window that owns them: one object, in two files for its size.
    frozenset({"tools/plinth-trace-window/trace_window",
               "tools/plinth-trace-window/window_commands"}),
}


def includes():
    """For each unit the units that it uses."""
    files = {str(path) for folder in FOLDERS for path in Path(folder).rglob("*")
             if path.suffix in (".cpp", ".h")}
    uses = collections.defaultdict(set)
    for name in sorted(files):
        for header in INCLUDE.findall(Path(name).read_text(encoding="utf-8")):
            places = (os.path.normpath(os.path.join(root, header))
                      for root in (os.path.dirname(name), *ROOTS))
            found = next((place for place in places if place in files), None)
            if found:
                uses[os.path.splitext(name)[0]].add(os.path.splitext(found)[0])
    return uses


def reached(uses, start):
    """All units that the start uses, by however many others."""
    seen, waiting = set(), [start]
    while waiting:
        new = uses.get(waiting.pop(), set()) - seen
        seen |= new
        waiting += new
    return seen


def main():
    uses = includes()
    for unit, used in uses.items():
        used.discard(unit)  # a source includes its own header
    all_reached = {unit: reached(uses, unit) for unit in list(uses)}
    circles = {frozenset(other for other in far if unit in all_reached.get(other, ()))
               for unit, far in all_reached.items() if unit in far} - ALLOWED
    for circle in sorted(circles, key=sorted):
        print("These include each other in a circle:")
        for unit in sorted(circle):
            print(f"    {unit} includes {', '.join(sorted(uses[unit] & circle))}")
    return 1 if circles else 0


if __name__ == "__main__":
    sys.exit(main())

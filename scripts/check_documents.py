#!/usr/bin/env python3
"""Checks that everything the documents refer to exists (scripts/check documents): links and anchors
of all *.md files to files of the tree; scripts, steps of scripts/check, presets and files that they
name. Names of documents and scripts are checked in the whole tree. Prints each miss with its file
and line.
"""
import functools
import json
import re
import sys
from pathlib import Path

import tree_files

LINK = re.compile(r"\]\(([^)\s]+)\)")
FENCE = re.compile(r"^\s*```")
HEADING = re.compile(r"^#{1,6}\s+(.*?)\s*#*$")
SCRIPT = re.compile(r"\bscripts/([a-z_]+(?:\.[a-z]+)?)(?![\w/*])")
STEPS = re.compile(r"\./scripts/check((?: [a-z-]+)+)")
PRESET = re.compile(r"--preset(?: |=)([a-z-]+)")
DOCUMENT = re.compile(r"\bdocs/[a-z-]+\.md\b")


def lines_of(path):
    return path.read_text(encoding="utf-8").splitlines()


def slug(heading):
    """The anchor that usual viewers of Markdown make from a heading."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "").lower()
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


@functools.cache
def anchors(path):
    found, fenced = {}, False
    for line in lines_of(path):
        if FENCE.match(line):
            fenced = not fenced
        heading = None if fenced else HEADING.match(line)
        if heading:
            name = slug(heading[1])
            found[name] = found.get(name, -1) + 1
    # A repeated heading gets a number.
    return {name if number == 0 else f"{name}-{number}"
            for name, last in found.items() for number in range(last + 1)}


def bad_link(page, link):
    """Describes the fault of a link of the page, or None."""
    if re.match(r"[a-z]+:", link):
        return None
    name, _, anchor = link.partition("#")
    target = (page.parent / name).resolve() if name else page.resolve()
    if not target.exists():
        return f"there is no {name}"
    if anchor and target.suffix == ".md" and anchor not in anchors(target):
        return f"{name or page.name} has no heading for #{anchor}"
    return None


def known_names():
    presets = json.loads(Path("CMakePresets.json").read_text(encoding="utf-8"))
    check = Path("scripts/check").read_text(encoding="utf-8")
    steps = set(re.search(r"^all_steps=\((.*)\)$", check, re.M)[1].split()) | {"test", "wide-all"}
    return {preset["name"] for preset in presets["configurePresets"]}, steps


def page_misses(page, line, presets, steps):
    """The misses of a line of a document."""
    yield from (bad_link(page, link) for link in LINK.findall(line))
    yield from (f"there is no preset {name}" for name in PRESET.findall(line) if name not in presets)
    for names in STEPS.findall(line):
        yield from (f"there is no step {name}" for name in names.split() if name not in steps)


def misses(path, text, presets, steps):
    for number, line in enumerate(text.splitlines(), 1):
        found = [f"there is no scripts/{name}" for name in SCRIPT.findall(line)
                 if not Path("scripts", name).exists()]
        found += [f"there is no {name}" for name in DOCUMENT.findall(line) if not Path(name).exists()]
        if path.suffix == ".md":
            found += filter(None, page_misses(path, line, presets, steps))
        yield from (f"{path}:{number}: {what}" for what in found)


def main():
    known = known_names()
    bad = [miss for path, text in tree_files.texts() for miss in misses(path, text, *known)]
    print("\n".join(bad))
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())

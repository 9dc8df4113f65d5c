#!/usr/bin/env python3
"""Checks that tests/platform names each call of the stand-in that the libraries make (step exports of
scripts/check), so that a new call gets rows of its documented answers. The argument is a build folder
with the libraries. Prints the calls that no test there names.
"""
import re
import subprocess
import sys
from pathlib import Path

LIBRARIES = ("w32_system/libplinth_w32_system.so", "w32_pthreadVC/libplinth_w32_pthreadVC.so")
RENAMED = re.compile(r"#define (\w+) (plinth_(?:crt|wsock)_\w+)")


def names(library, kind):
    lines = subprocess.run(["nm", "-D", f"--{kind}-only", library], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


def main():
    build = Path(sys.argv[1], "src")
    exported = names(build / "platform/libplinth_platform.so", "defined")
    calls = exported & set().union(*(names(build / each, "undefined") for each in LIBRARIES))
    source_name = {}
    for header in Path("src/platform/include").glob("**/*.h"):
        source_name.update({own: name for name, own in RENAMED.findall(header.read_text("utf-8"))})
    tested = set()
    for test in Path("tests/platform").glob("**/*.cpp"):
        tested.update(re.findall(r"\w+", test.read_text("utf-8")))
    missing = sorted({source_name.get(call, call) for call in calls} - tested)
    for call in missing:
        print(f"no test in tests/platform calls {call}", file=sys.stderr)
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())

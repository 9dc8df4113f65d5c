#!/usr/bin/env python3
"""Runs clang-tidy over the files of a compilation database and remembers which of them passed.

    tidy_files.py BUILD_FOLDER REGEX        for the step tidy of scripts/check

REGEX is matched against paths relative to the checkout. Findings are printed on standard output;
the exit status is 1 if there are any.

A file that passed is examined again only after a change of something that clang-tidy reads: the
preprocessed text (with the system's headers and the effects of command-line macros), the source
text of each file of the checkout in it (comments, which may contain NOLINT, and macros), the
command's other options, the checkout's .clang-tidy files above it and above its headers (the rule
of a name is that of the folder that declares it), and the version of clang-tidy. The path of the
checkout is not part of the key, so clones share their results. Only passes are remembered, as empty
files in $PLINTH_TIDY_CACHE, at first a folder in ccache's cache. CI_FULL=1 examines all files.
"""
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
UNUSED_FOR = 30 * 24 * 3600  # seconds after which a pass is forgotten
MOST_PASSES = 20000
# Options that change the compiled code, but not the findings about the source.
CODE_GENERATION = re.compile(r"-(g|O|fPIC|fPIE|fno-plt|fno-gnu-unique|fvisibility|fno-omit-frame-pointer"
                             r"|fpch-preprocess)")
LINE_MARKER = re.compile(rb'^# \d+ "([^"\n]+)"', re.MULTILINE)


def cache_folder():
    if "PLINTH_TIDY_CACHE" in os.environ:
        return Path(os.environ["PLINTH_TIDY_CACHE"])
    if shutil.which("ccache"):
        asked = subprocess.run(["ccache", "-k", "cache_dir"], capture_output=True, text=True)
        if asked.returncode == 0 and asked.stdout.strip():
            return Path(asked.stdout.strip()) / "plinth-tidy"
    return Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "plinth-tidy"


def prune(folder):
    """Forgets passes that have not been used for long, and the oldest if there are too many."""
    passes = sorted(((entry.stat().st_mtime, entry.path) for entry in os.scandir(folder)),
                    reverse=True)
    oldest = time.time() - UNUSED_FOR
    for position, (used, path) in enumerate(passes):
        if used < oldest or position >= MOST_PASSES:
            Path(path).unlink(missing_ok=True)


class Command:
    """One entry of the compilation database."""

    def __init__(self, entry):
        self.file = (Path(entry["directory"]) / entry["file"]).resolve()
        self.directory = entry["directory"]
        self.arguments = []  # for clang-tidy
        self.preprocessing = []  # the options that only affect the preprocessed text
        self.options = []  # the others, which clang-tidy may use
        words = iter(entry.get("arguments") or shlex.split(entry["command"]))
        self.compiler = next(words)
        for word in words:
            if word in ("-o", "-c", "-Winvalid-pch"):
                if word == "-o":
                    next(words)
            elif word == "-include":
                header = next(words)
                # Precompiled headers are only for GCC; sources include what they need.
                if not header.endswith("cmake_pch.hxx"):
                    self.preprocessing += [word, header]
            elif word in ("-D", "-U", "-I", "-isystem", "-iquote"):
                self.preprocessing += [word, next(words)]
            elif word.startswith(("-D", "-U", "-I", "-isystem", "-iquote")):
                self.preprocessing.append(word)
            elif not (CODE_GENERATION.match(word) or
                      Path(self.directory, word) == Path(entry["file"])):
                self.options.append(word)

    @property
    def name(self):
        return str(self.file.relative_to(ROOT))

    def key(self, clang, base):
        """A hash of everything that decides the result; None if the file can't be preprocessed."""
        done = subprocess.run([clang, "-E", "-w", *self.options, *self.preprocessing, str(self.file)],
                              cwd=self.directory, capture_output=True)
        if done.returncode != 0:
            return None
        root = os.fsencode(ROOT)
        digest = hashlib.sha256(base)
        digest.update("\0".join([self.name, *self.options]).encode().replace(root, b"."))
        digest.update(done.stdout.replace(root, b"."))
        folders = set(self.file.parents)
        for header in sorted(set(LINE_MARKER.findall(done.stdout))):
            path = Path(self.directory, os.fsdecode(header)).resolve()
            if path.is_relative_to(ROOT) and path.is_file():
                digest.update(f"\0{path.relative_to(ROOT)}\0".encode())
                digest.update(path.read_bytes())
                folders.update(path.parents)
        for folder in sorted(folders):
            if folder.is_relative_to(ROOT) and (folder / ".clang-tidy").is_file():
                digest.update((folder / ".clang-tidy").read_bytes())
        return digest.hexdigest()

    def findings(self, tidy):
        """The text of clang-tidy's findings; empty if there are none."""
        with tempfile.TemporaryDirectory() as folder:
            entry = {"directory": self.directory, "file": str(self.file),
                     "arguments": [self.compiler, *self.options, *self.preprocessing, "-c",
                                   str(self.file)]}
            Path(folder, "compile_commands.json").write_text(json.dumps([entry]))
            done = subprocess.run([tidy, "--quiet", "--use-color=false", "-p", folder, str(self.file)],
                                  capture_output=True, text=True, errors="replace")
        if done.returncode != 0:
            return done.stdout + (done.stderr if not done.stdout.strip() else "") or "failed\n"
        return done.stdout.strip()


def main():
    build, wanted = Path(sys.argv[1]), re.compile(sys.argv[2])
    tidy = shutil.which("clang-tidy")
    if not tidy:
        sys.exit("tidy_files.py: clang-tidy is not installed (Debian: clang-tidy)")
    # The compiler of the same version is in the same folder; it sees the same text as clang-tidy.
    clang = str(Path(tidy).resolve().parent / "clang++")
    if not os.access(clang, os.X_OK):
        sys.exit(f"tidy_files.py: there is no {clang} beside clang-tidy")
    version = subprocess.run([tidy, "--version"], capture_output=True, check=True).stdout
    base = version + Path(__file__).read_bytes()

    commands = []
    for entry in json.loads((build / "compile_commands.json").read_text()):
        command = Command(entry)
        if command.file.is_relative_to(ROOT) and wanted.search(command.name):
            commands.append(command)
    if not commands:
        sys.exit(f"tidy_files.py: {build} compiles no file that matches {wanted.pattern}")

    full = os.environ.get("CI_FULL", "") not in ("", "0")
    cache = cache_folder()
    cache.mkdir(parents=True, exist_ok=True)
    jobs = int(os.environ.get("PLINTH_JOBS") or len(os.sched_getaffinity(0)))
    found = 0
    remembered = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        keys = list(pool.map(lambda command: command.key(clang, base), commands))
        # Several targets may compile one file; with the same options it is examined once.
        different = {key or position: command
                     for position, (key, command) in enumerate(zip(keys, commands))}

        def examine(item):
            key, command = item
            if isinstance(key, str) and not full and (cache / key).exists():
                (cache / key).touch()
                return None
            findings = command.findings(tidy)
            # If a file was changed meanwhile, it is unknown which of its texts has passed.
            if not findings and isinstance(key, str) and command.key(clang, base) == key:
                (cache / key).touch()
            return findings

        for findings in pool.map(examine, different.items()):
            if findings is None:
                remembered += 1
            elif findings:
                found += 1
                print(findings.rstrip(), flush=True)
    prune(cache)
    print(f"{len(different)} cases in {len({command.name for command in commands})} files: "
          f"{len(different) - remembered} examined, {remembered} known to pass", file=sys.stderr)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""No exception leaves the stand-in: each exported function that may allocate has a handler.

Reads the machine code of a build without optimisation, where each call is still visible. Follows
the calls from operator new and the throwing of exceptions back to the exported functions, and stops
at functions that catch the exception for good. It can't see calls by a pointer, nor calls outside
the guarded block of a function; the sweep of allocations covers those.

    exceptions_test.py LIBRARY
"""
import collections
import re
import subprocess
import sys

THROWING = ("_Znwm", "_Znam", "_ZnwmSt11align_val_t", "__cxa_throw", "_ZSt17__throw_bad_allocv",
            "_ZSt20__throw_length_errorPKc")
HANDLER = "__cxa_begin_catch"
PASSED_ON = "__cxa_rethrow"
# The test interface, which no shipped build has.
LEFT_OUT = re.compile(r"PlinthTest|take_fault")
FUNCTION = re.compile(r"^[0-9a-f]+ <(.+)>:$")
CALL = re.compile(r"\b(?:call|jmp)\s+(?:\*.*# )?[0-9a-f]+ <([^>@+]+)")


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()


def callers_of(library):
    """Maps each function to its callers."""
    callers = collections.defaultdict(set)
    caller = ""
    for line in output("objdump", "-d", "--no-show-raw-insn", library):
        if found := FUNCTION.match(line):
            caller = found.group(1)
        elif found := CALL.search(line):
            callers[found.group(1)].add(caller)
    return callers


def unguarded(library):
    """The exported functions that an exception may leave, each with the calls down to the throw."""
    exported = {line.split()[-1].split("@")[0]
                for line in output("nm", "-D", "--defined-only", library)}
    callers = callers_of(library)
    guarded = callers[HANDLER] - callers[PASSED_ON]
    ways = {name: [name] for name in THROWING}
    waiting = list(THROWING)
    while waiting:
        called = waiting.pop(0)
        for caller in callers[called]:
            if caller in ways or caller in guarded or LEFT_OUT.search(caller):
                continue
            ways[caller] = [caller, *ways[called]]
            waiting.append(caller)
    return guarded & exported, {name: ways[name] for name in sorted(exported & ways.keys())}


def main():
    guarded, found = unguarded(sys.argv[1])
    for name, way in found.items():
        print(f"An exception may leave {name}:")
        for each in output("c++filt", *way[1:]):
            print(f"    which calls {each[:120]}")
    print(f"{len(guarded)} exported functions have a handler, {len(found)} lack it.")
    return 1 if found or not guarded else 0


if __name__ == "__main__":
    sys.exit(main())

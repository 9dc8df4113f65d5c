#!/usr/bin/env python3
"""Makes the platform calls of a session of the whole library fail, one after the other.

The program plinth_fault_worker runs the session (session.h): it loads the library, runs the session
with one fault in it, runs it once more without, and unloads. This script does so for the 1st, 2nd,
3rd ... call, each in a process and a machine (PLINTH_ROOT) of its own, until the session makes no
more calls. Each run must meet these conditions:

  - no crash, no hang; each operation succeeds or returns a status of its description, a reported
    success is a real one, and what the log has confirmed is in its files;
  - after the fault the same session succeeds wholly in the same process;
  - no descriptor and no file is left that a run without a fault doesn't leave.

The ways to fail:

  once         the Linux call number N of any name fails with EIO, later ones don't
  stays        all from number N on fail with EIO until the end of the session
  interrupted  call number N meets a signal (EINTR)
  shortened    the N-th read, write ... of each name moves one byte
  memory       allocation number N of the library fails, later ones don't; no exception may
               leave the stand-in
  exhausted    all allocations from number N on fail until the end of the session; the library may
               refuse to be loaded, with its message and the status 127
  interface    the N-th operation of the Windows interface of each name fails, where the stand-in
               has a fault point for it

Threads of the library make some of the calls, and wait for time: between two runs the number of all
calls differs by about one in a hundred, and number N isn't the same call each time. A finding names
the call that failed, and the command that repeats the run.
"""
import argparse
import collections
import concurrent.futures
import os
import re
import subprocess
import sys
import time

EIO = 5
EINTR = 4
NOT_ENOUGH_MEMORY = 8  # the system error of the interface's failures
TRANSFERS = ("read", "write", "pwrite", "send", "recv", "copy_file_range", "getrandom")
BY_NUMBER = {"once": (1, EIO), "stays": (0, EIO), "interrupted": (1, EINTR)}
BY_ALLOCATION = {"memory": 1, "exhausted": 0}
WAYS = (*BY_NUMBER, *BY_ALLOCATION, "shortened", "interface")
UNMET_ENDS = 25  # after so many numbers in a row without a fault the session has no more calls

Run = collections.namedtuple("Run", "status lines seconds")


def run_worker(options, plan):
    """Runs one process under the launcher, which makes and removes its machine."""
    started = time.monotonic()
    done = subprocess.run(
        [options.launcher, options.worker, str(options.limit), *map(str, plan)],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    text = done.stdout.decode("utf-8", "replace")
    return Run(done.returncode, text.splitlines(), time.monotonic() - started)


def told(run, word):
    return [line[len(word) + 1:] for line in run.lines if line.startswith(word + " ")]


def alike(target):
    """A descriptor's or file's name without the parts that differ from run to run."""
    target = re.sub(r"\S*/plinth-test-\w+", "ROOT", target)
    target = re.sub(r"plinth-\d+-[0-9a-f]{16}", "SHARED", target)
    return re.sub(r"\d+", "#", target)


# Each stack trace of a report keeps the files of its modules open, each twice. A fault may bring in
# a module that no run without a fault has.
MODULE = re.compile(r"\.so[.#]*$|\.debug$")
MOST_OF_MODULE = 2


class Reference:
    """What runs without a fault leave open or on disk, and how many calls they make."""

    def __init__(self, options):
        with concurrent.futures.ThreadPoolExecutor() as pool:
            runs = list(pool.map(lambda _: run_worker(options, ["none"]), range(3)))
        for run in runs:
            if run.status or "done" not in run.lines:
                sys.exit("The session fails without any fault:\n" + "\n".join(run.lines))
        self.calls = [int(told(run, "calls")[0]) for run in runs]
        self.operations = {}
        self.descriptors = collections.Counter()
        self.files = set()
        for run in runs:
            for line in told(run, "operation"):
                name, count = line.rsplit(" ", 1)
                self.operations[name] = max(int(count), self.operations.get(name, 0))
            self.descriptors |= collections.Counter(map(alike, told(run, "descriptor")))
            self.files.update(map(alike, told(run, "file")))

    def findings(self, run):
        if run.status == 127 and any("the library can't be loaded" in line for line in run.lines):
            return []  # the correct refusal of a load that lacks its locks
        found = told(run, "finding")
        if run.status and not found or "done" not in run.lines:
            found.append(f"ended with status {run.status} after {run.seconds:.0f} s")
        open_now = collections.Counter(map(alike, told(run, "descriptor")))
        found += [f"left open: {name}" for name in (open_now - self.descriptors).elements()
                  if not MODULE.search(name) or open_now[name] > MOST_OF_MODULE]
        found += [f"left behind: {name}" for name in set(map(alike, told(run, "file"))) - self.files]
        return found


def is_of_interface(name):
    """Linux calls are in lower case; a name with a dot is a place for a test's signal."""
    return re.fullmatch(r"[a-z][a-z0-9_]*|.*\..*", name) is None


def plans(way, reference, options):
    """The plans of a way in order. Those by number have no natural end: sweep() notices it."""
    if way in BY_NUMBER:
        return (["any", number, *BY_NUMBER[way]]
                for number in range(options.first, options.last + 1, options.every))
    if way in BY_ALLOCATION:
        return (["memory", number, BY_ALLOCATION[way]]
                for number in range(options.first, options.last + 1, options.every))
    kind, chosen, value = ("shorten", TRANSFERS.__contains__, 1) if way == "shortened" else \
        ("fail", is_of_interface, NOT_ENOUGH_MEMORY)
    by_name = [[kind, name, number, 1, value]
               for name, count in sorted(reference.operations.items()) if chosen(name)
               for number in range(1, count + 1)]
    return by_name[options.first - 1:options.last:options.every]


def judge(run, plan, reference, options):
    """The calls that met the fault, one at most, and whether the run has failed."""
    met = told(run, "met")[:1]
    found = reference.findings(run)
    if found:
        print(f"FAILED at {met[0] if met else 'no call'}: "
              f"{options.launcher} {options.worker} {options.limit} {' '.join(map(str, plan))}")
        for each in found[:10]:
            print(f"    {each}")
        if not told(run, "finding"):
            print("\n".join("    | " + line for line in run.lines[-40:]))
        sys.stdout.flush()
    return met, bool(found)


def sweep(way, reference, options):
    """How often the fault met each call, and how many runs have failed."""
    waiting = collections.deque()
    judged = []
    unmet_in_a_row = 0
    has_end = way in BY_NUMBER or way in BY_ALLOCATION
    enough = max(1, UNMET_ENDS // options.every) if has_end else sys.maxsize

    def judge_first():
        plan, future = waiting.popleft()
        judged.append(judge(future.result(), plan, reference, options))

    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for plan in plans(way, reference, options):
            waiting.append((plan, pool.submit(run_worker, options, plan)))
            if len(waiting) < 2 * options.jobs:
                continue
            judge_first()
            unmet_in_a_row = 0 if judged[-1][0] else unmet_in_a_row + 1
            if unmet_in_a_row >= enough:
                break
        while waiting:
            judge_first()
    met = collections.Counter(name for names, _ in judged for name in names)
    failures = sum(failed for _, failed in judged)
    injected = sum(met.values())
    print(f"{way}: {injected} faults injected, {injected - failures} survived, {failures} failures; "
          f"{len(judged) - injected} runs without a fault")
    print("    " + ", ".join(f"{name} {count}" for name, count in met.most_common()), flush=True)
    return met, failures


def arguments():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ways", nargs="*", metavar="WAY", help=f"{', '.join(WAYS)} (all)")
    parser.add_argument("--from", dest="first", type=int, default=1, metavar="N", help="first number")
    parser.add_argument("--to", dest="last", type=int, default=1_000_000, metavar="N", help="last one")
    parser.add_argument("--every", type=int, default=1, metavar="K", help="each K-th number only")
    parser.add_argument("--limit", type=int, default=60, help="seconds that one run may take (60)")
    parser.add_argument("--jobs", type=int, default=4 * os.cpu_count(),
                        help="runs side by side, which wait most of their time")
    options = parser.parse_args()
    for way in options.ways:
        if way not in WAYS:
            parser.error(f"no such way: {way}")
    options.launcher = os.environ["PLINTH_TEST_LAUNCHER"]
    options.worker = os.environ["PLINTH_FAULT_WORKER"]
    return options


def main():
    options = arguments()
    reference = Reference(options)
    low, high = min(reference.calls), max(reference.calls)
    print(f"the session makes {low} to {high} Linux calls under {len(reference.operations)} names")
    results = [sweep(way, reference, options) for way in options.ways or WAYS]
    met = sum((met for met, _ in results), collections.Counter())
    failures = sum(failures for _, failures in results)
    injected = sum(met.values())
    print(f"fault sweep: {high} calls, {injected} faults injected under {len(met)} names, "
          f"{injected - failures} survived, {failures} failures")
    return 1 if failures or not injected else 0


if __name__ == "__main__":
    sys.exit(main())

"""Runs one test of a script: python_test.py SCRIPT CLASS.METHOD

Exit status: 0 if it has passed, 77 if it was skipped (CTest's SKIP_RETURN_CODE), otherwise 1. With
CI=true, where everything that tests need is installed, a skipped test counts as failed.
"""
import importlib.util
import os
import sys
import unittest


def load(path):
    sys.path.insert(0, os.path.dirname(path))  # scripts import helpers from their own folder
    spec = importlib.util.spec_from_file_location("script", path)
    script = importlib.util.module_from_spec(spec)
    sys.modules["script"] = script
    spec.loader.exec_module(script)
    return script


def main(path, test):
    try:
        script = load(path)
    except unittest.SkipTest as reason:
        skipped = [str(reason)]
    else:
        suite = unittest.defaultTestLoader.loadTestsFromName(test, script)
        result = unittest.TextTestRunner(verbosity=2).run(suite)
        if not result.wasSuccessful():
            return 1
        skipped = [reason for _, reason in result.skipped]
        if not skipped:
            return 0 if result.testsRun == 1 else 1
    for reason in skipped:
        print(f"Skipped: {reason}")
    if os.environ.get("CI") == "true":
        print("No test may be skipped with CI=true.")
        return 1
    return 77


if __name__ == "__main__":
    sys.exit(main(os.path.abspath(sys.argv[1]), sys.argv[2]))

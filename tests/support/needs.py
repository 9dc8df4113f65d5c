"""Requirements of a test that a system may lack. If one is missing, the test is reported as
skipped, with the Debian package that provides it; with CI=true that is a failure (python_test.py).

Also works while a script is loaded, outside of any test: then all its tests are skipped.
"""
import importlib
import os
import shutil
import unittest


def needs(there, what, package):
    if not there:
        raise unittest.SkipTest(f"needs {what} (Debian: {package})")


def needs_program(name, package):
    needs(shutil.which(name), name, package)


def needs_import(name, package):
    """Imports and returns the module of the name."""
    try:
        return importlib.import_module(name)
    except ImportError:
        needs(False, f"Python's module {name}", package)


def needs_modules(folder):
    """The PE files of tests/modules; the build leaves a file with the names of missing packages."""
    missing = os.path.join(folder, "missing_packages")
    if os.path.exists(missing):
        with open(missing, encoding="utf-8") as file:
            needs(False, "PE files", file.read().strip())

"""plinth-trace module, and whether other makers' tools accept the files that it has changed.

Runs under the launcher. The environment: PLINTH_TRACE, the program; PLINTH_TEST_MODULES, the folder
of the modules that tests/modules builds.
"""
import os
import shutil
import struct
import unittest

from needs import needs_modules, needs_program
from programs import ROOT, run

TRACE = os.environ["PLINTH_TRACE"]
MODULES = os.environ["PLINTH_TEST_MODULES"]
needs_modules(MODULES)
NAMES = ("plain64.dll", "module64.dll", "program64.exe", "overlay64.exe", "compiled64.exe",
         "plain32.dll", "module32.dll", "program32.exe", "overlay32.exe")
# A small one, a large one, an empty one.
RESOURCES = {"SMALL": b"just a few", "LARGE": bytes(range(251)) * 900, "NONE": b""}

def output_of(*command, code=0):
    """The output as text with a character for each byte."""
    result = run(*command, encoding=None)
    if result.returncode != code:
        raise AssertionError(f"{command}: {result.returncode}\n{result.stderr.decode()}")
    return result.stdout.decode("latin-1")

def read(path):
    with open(path, "rb") as file:
        return file.read()

class Image:
    """The headers of a PE file, read by code other than that under test."""

    def __init__(self, path):
        self.data = read(path)
        header, = struct.unpack_from("<I", self.data, 60)
        count, optional_size = struct.unpack_from("<H12xH", self.data, header + 6)
        self.optional = header + 24
        self.section_alignment, self.file_alignment = struct.unpack_from(
            "<II", self.data, self.optional + 32)
        self.image_size, self.headers_size, self.checksum = struct.unpack_from(
            "<III", self.data, self.optional + 56)
        self.sections = []  # name, address, size in the image, size and offset in the file
        for i in range(count):
            at = self.optional + optional_size + i * 40
            name, size, address, raw_size, raw = struct.unpack_from("<8sIIII", self.data, at)
            self.sections.append((name.rstrip(b"\0").decode(), address, size, raw_size, raw))

    def contents(self):
        """The sections except that of the resources: name, address and bytes."""
        return [(name, address, self.data[offset:offset + size])
                for name, address, _, size, offset in self.sections if name != ".rsrc"]

    def overlay(self):
        return self.data[max(offset + size for _, _, _, size, offset in self.sections):]

    def computed_checksum(self):
        data = bytearray(self.data + bytes(len(self.data) % 2))
        data[self.optional + 64:self.optional + 68] = bytes(4)
        total = sum(word for word, in struct.iter_unpack("<H", data))
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        return total + len(self.data)

def path(name):
    return os.path.join(ROOT, name)

def written(name, data):
    with open(path(name), "wb") as file:
        file.write(data)
    return path(name)

def copied(name):
    return shutil.copy(os.path.join(MODULES, name), ROOT)

def changed(name):
    module = copied(name)
    for resource, data in RESOURCES.items():
        output_of(TRACE, "module", module, "--add", resource.title(), "--data",
                  written("data", data))
    return module

class Showing(unittest.TestCase):
    def test_all_that_is_in_a_module(self):
        for name in ("module64.dll", "module32.dll"):
            out = output_of(TRACE, "module", copied(name))
            for pattern in (r"\.segment +at 0x[0-9a-f]{8} +512 bytes",
                            r"RCDATA +ALPHA +0x0000 +2563 bytes",
                            r"RCDATA +GREETING +0x040c +7 bytes", r"VERSION +#1 +0x0409",
                            r"FileDescription +a module for tests", r"file +1\.2\.3\.4",
                            rf"patch number {ord('4') | ord('2') << 16}\n"):
                self.assertRegex(out, pattern, name)
        self.assertFalse(os.path.exists(path("ProgramData")), "it opens no log")

    def test_what_is_wrong_is_said(self):
        for arguments, code in (((), 2), (("--add", "X", "file"), 2),
                                (("--add", "X", "--extract", "Y", "--data", "d", "file"), 2),
                                ((written("text", b"no module"),), 1), ((path("missing"),), 1),
                                ((copied("module64.dll"), "--extract", "Unknown", "--data",
                                  path("out")), 1)):
            output_of(TRACE, "module", *arguments, code=code)

class Changing(unittest.TestCase):
    def test_headers_hold_and_all_else_stays(self):
        for name in NAMES:
            before = Image(os.path.join(MODULES, name))
            after = Image(changed(name))
            self.assertEqual(after.checksum, after.computed_checksum(), name)
            self.assertEqual(after.overlay(), before.overlay(), name)
            for each in before.contents():
                self.assertTrue(each in after.contents(), f"{name} {each[0]}")
            self.assertEqual([each[0] for each in after.sections].count(".rsrc"), 1, name)
            end = after.headers_size
            for section, address, size, _, raw in after.sections:
                self.assertGreaterEqual(address, end, f"{name} {section}: in ascending order")
                self.assertLess(address - end, after.section_alignment, f"{name}: without a gap")
                end = address + size
                self.assertEqual(raw % after.file_alignment, 0, f"{name} {section}")
            self.assertLess(after.image_size - end, after.section_alignment, name)
            self.assertGreaterEqual(after.image_size, end, name)

    def test_a_large_overlay_of_odd_size_stays_and_is_summed_up(self):
        module = copied("module64.dll")
        with open(module, "ab") as file:
            file.write(bytes(range(253)) * 3001)
        before = Image(module)
        output_of(TRACE, "module", module, "--add", "Small", "--data", written("data", b"a few"))
        after = Image(module)
        self.assertEqual(after.checksum, after.computed_checksum())
        self.assertEqual(after.overlay(), before.overlay())

class ForeignTools(unittest.TestCase):
    def test_objdump_llvm_readobj_and_wrestool_find_what_was_added(self):
        needs_program("llvm-readobj", "llvm")
        needs_program("wrestool", "icoutils")
        for name in NAMES:
            module = changed(name)
            out = output_of("objdump", "-p", module)
            self.assertIn("The .rsrc Resource Directory section:", out, name)
            self.assertNotIn("orrupt", out, name)
            self.assertRegex(out, rf"Leaf: Addr: \S+, Size: 0x{len(RESOURCES['LARGE']):06x}", name)
            out = output_of("llvm-readobj", "--coff-resources", module)
            for resource, data in RESOURCES.items():
                self.assertRegex(out, rf"(?s)Name: {resource} \[.*?DataSize: {len(data)}\b", name)
            for resource in ("SMALL", "LARGE"):
                out = output_of("wrestool", "-x", "-R", "-t", "10", "-n", resource, module)
                self.assertEqual(out.encode("latin-1"), RESOURCES[resource], name)
            if "plain" not in name:
                self.assertIn("--type=14 --name=1 --language=1033 [type=group_icon",
                              output_of("wrestool", "-l", module), name)

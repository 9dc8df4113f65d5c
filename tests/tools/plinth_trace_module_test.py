"""plinth-trace module, and what tools that are not ours make of the files that it has changed.

Runs under the launcher. The environment: PLINTH_TRACE, the program; PLINTH_TEST_MODULES, the folder
of the modules that tests/modules builds.
"""
import os
import shutil
import struct
import subprocess
import tempfile
import unittest

from needs import needs_modules, needs_program

TRACE = os.environ["PLINTH_TRACE"]
MODULES = os.environ["PLINTH_TEST_MODULES"]
ROOT = os.environ["PLINTH_ROOT"]
NAMES = ("plain64.dll", "module64.dll", "program64.exe", "overlay64.exe", "compiled64.exe",
         "plain32.dll", "module32.dll", "program32.exe", "overlay32.exe")


def run(*command, code=0):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120,
                            stdin=subprocess.DEVNULL)
    if result.returncode != code:
        raise AssertionError(f"{command}: {result.returncode}\n{result.stderr.decode()}")
    return result.stdout


class Image:
    """The headers of a PE file, read by other code than that under test."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        self.header, = struct.unpack_from("<I", self.data, 60)
        count, optional_size = struct.unpack_from("<H12xH", self.data, self.header + 6)
        self.optional = self.header + 24
        magic, = struct.unpack_from("<H", self.data, self.optional)
        self.directories = self.optional + (112 if magic == 0x20B else 96)
        self.section_alignment, self.file_alignment = struct.unpack_from(
            "<II", self.data, self.optional + 32)
        self.image_size, self.headers_size, self.checksum = struct.unpack_from(
            "<III", self.data, self.optional + 56)
        self.symbols, = struct.unpack_from("<I", self.data, self.header + 12)
        self.sections = []  # name, address, size in the image, size and offset in the file
        for i in range(count):
            at = self.optional + optional_size + i * 40
            name, size, address, raw_size, raw = struct.unpack_from("<8sIIII", self.data, at)
            self.sections.append((name.rstrip(b"\0").decode(), address, size, raw_size, raw))

    def content(self, name):
        for section, _, _, size, offset in self.sections:
            if section == name:
                return self.data[offset:offset + size]
        raise AssertionError(f"no section {name}")

    def overlay(self):
        return self.data[max(offset + size for _, _, _, size, offset in self.sections):]

    def computed_checksum(self):
        data = bytearray(self.data)
        data[self.optional + 64:self.optional + 68] = bytes(4)
        total = 0
        for word, in struct.iter_unpack("<H", bytes(data) + bytes(len(data) % 2)):
            total += word
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        return total + len(data)


class Module(unittest.TestCase):
    def setUp(self):
        needs_modules(MODULES)
        self.folder = tempfile.mkdtemp(dir=ROOT)

    def path(self, name):
        return os.path.join(self.folder, name)

    def copied(self, name):
        return shutil.copy(os.path.join(MODULES, name), self.folder)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    # One resource that is small, one that is large, one of nothing.
    def changed(self, name):
        path = self.copied(name)
        for resource, data in self.resources().items():
            run(TRACE, "module", path, "--add", resource,
                "--data", self.write("data", data))
        return path

    def resources(self):
        return {"Small": b"just a few", "Large": bytes(range(251)) * 900, "None": b""}


class Showing(Module):
    def test_all_that_is_in_a_module(self):
        for name in ("module64.dll", "module32.dll"):
            out = run(TRACE, "module", self.copied(name)).decode()
            self.assertRegex(out, r"\.segment +at 0x[0-9a-f]{8} +512 bytes")
            self.assertRegex(out, r"RCDATA +ALPHA +0x0000 +2563 bytes")
            self.assertRegex(out, r"RCDATA +GREETING +0x040c +7 bytes")
            self.assertRegex(out, r"VERSION +#1 +0x0409")
            self.assertRegex(out, r"FileDescription +a module for tests")
            self.assertRegex(out, r"file +1\.2\.3\.4")
            self.assertIn(f"patch number {ord('4') | ord('2') << 16}\n", out)

    def test_opens_no_log(self):
        run(TRACE, "module", self.copied("module64.dll"))
        self.assertFalse(os.path.exists(os.path.join(ROOT, "ProgramData")))

    def test_what_is_wrong_is_said(self):
        for arguments, code in (((), 2), (("--add", "X", "file"), 2),
                                (("--add", "X", "--extract", "Y", "--data", "d", "file"), 2),
                                ((self.write("text", b"no module"),), 1),
                                ((self.path("missing"),), 1),
                                ((self.copied("module64.dll"), "--extract", "Unknown", "--data",
                                  self.path("out")), 1)):
            run(TRACE, "module", *arguments, code=code)


class Changing(Module):
    def test_what_is_added_comes_out_again(self):
        for name in NAMES:
            path = self.changed(name)
            for resource, data in self.resources().items():
                run(TRACE, "module", path, "--extract", resource.upper(), "--data",
                    self.path("out"))
                self.assertEqual(self.read(self.path("out")), data, f"{name} {resource}")

    def test_headers_hold_and_all_else_stays(self):
        for name in NAMES:
            before = Image(os.path.join(MODULES, name))
            after = Image(self.changed(name))
            self.assertEqual(after.checksum, after.computed_checksum(), name)
            self.assertEqual(after.overlay(), before.overlay(), name)
            end = after.headers_size
            for section, address, size, _, raw in after.sections:
                self.assertGreaterEqual(address, end, f"{name} {section}: in ascending order")
                self.assertLess(address - end, after.section_alignment, f"{name}: without a gap")
                end = address + size
                self.assertEqual(raw % after.file_alignment, 0)
            self.assertLess(after.image_size - end, after.section_alignment)
            self.assertGreaterEqual(after.image_size, end)
            for section, address, _, _, _ in before.sections:
                if section == ".rsrc":
                    continue
                self.assertEqual(after.content(section), before.content(section),
                                 f"{name} {section}")
                self.assertIn((section, address), [each[:2] for each in after.sections])
            self.assertEqual([each[0] for each in after.sections].count(".rsrc"), 1)

    def test_a_large_overlay_of_odd_size_stays_and_is_summed_up(self):
        path = self.copied("module64.dll")
        with open(path, "ab") as file:
            file.write(bytes(range(253)) * 3001)
        before = Image(path)
        run(TRACE, "module", path, "--add", "Small", "--data", self.write("data", b"just a few"))
        after = Image(path)
        self.assertEqual(after.checksum, after.computed_checksum())
        self.assertEqual(after.overlay(), before.overlay())

    def test_debuggers_find_their_symbols(self):
        before = run("objdump", "-t", os.path.join(MODULES, "compiled64.exe"))
        after = run("objdump", "-t", self.changed("compiled64.exe"))
        self.assertEqual(after.split(b"SYMBOL TABLE", 1)[1], before.split(b"SYMBOL TABLE", 1)[1])


class ForeignTools(Module):
    def test_objdump_lists_the_tree(self):
        for name in NAMES:
            out = run("objdump", "-p", self.changed(name)).decode("latin-1")
            self.assertIn("The .rsrc Resource Directory section:", out, name)
            self.assertNotIn("orrupt", out, name)
            size = len(self.resources()["Large"])
            self.assertRegex(out, rf"Leaf: Addr: \S+, Size: 0x{size:06x}", name)

    def test_llvm_readobj_lists_the_tree(self):
        needs_program("llvm-readobj", "llvm")
        for name in NAMES:
            out = run("llvm-readobj", "--coff-resources", self.changed(name)).decode("latin-1")
            for resource, data in self.resources().items():
                self.assertRegex(out, rf"(?s)Name: {resource.upper()} \[.*?DataSize: {len(data)}\b",
                                 name)

    def test_wrestool_takes_the_data_out(self):
        needs_program("wrestool", "icoutils")
        for name in NAMES:
            path = self.changed(name)
            for resource, data in self.resources().items():
                if data:
                    self.assertEqual(run("wrestool", "-x", "-R", "-t", "10", "-n",
                                         resource.upper(), path), data, name)
            listed = run("wrestool", "-l", path).decode()
            if "plain" not in name:
                self.assertIn("--type=14 --name=1 --language=1033 [type=group_icon", listed)

    def test_windres_reads_it_back(self):
        # Of a version block that stands in the test modules, windres itself says that its length is
        # wrong, so it gets those without one.
        for name, target in (("plain64.dll", "pe-x86-64"), ("plain32.dll", "pe-i386")):
            run("x86_64-w64-mingw32-windres", "-F", target, "-J", "coff", "-O", "res", "-i",
                self.changed(name), "-o", self.path("back.res"))
            back = self.read(self.path("back.res"))
            for resource, data in self.resources().items():
                self.assertTrue(resource.upper().encode("utf-16-le") in back, name)
                self.assertTrue(data in back, name)

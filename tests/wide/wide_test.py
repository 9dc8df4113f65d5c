"""Standard C++ text over 16 bits, as a user of the installed package has it. Each test compiles
programs of its own, since compilers, optimisation levels and linkers are under test.

PLINTH_BUILD, PLINTH_CMAKE: the tree and the program; PLINTH_WIDE_FLAGS: more compiler flags.
PLINTH_WIDE_ALL=1 takes every combination, for scripts/check wide-all.
"""
import itertools
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from needs import needs_program

HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.environ["PLINTH_BUILD"]
CMAKE = os.environ["PLINTH_CMAKE"]
FLAGS = os.environ.get("PLINTH_WIDE_FLAGS", "").split()
ALL = os.environ.get("PLINTH_WIDE_ALL") == "1"
WARNINGS = ["-Wall", "-Wextra", "-Wno-deprecated-declarations"]


def call(*command, **more):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **more)


def run(*command, **more):
    result = call(*command, **more)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{result.returncode}\n{result.stdout}")
    return result.stdout


def source(name):
    return os.path.join(HERE, name)


def combinations():
    """Compilers and flags: those of every test run, or all."""
    if not ALL:
        return [("g++", "-O2", "-std=c++20"), ("clang++", "-O0", "-std=c++20")]
    rows = list(itertools.product(("g++", "clang++"), ("-O0", "-O2", "-O3"),
                                  ("-std=c++17", "-std=c++20")))
    rows += [("g++", "-O2", "-std=c++20", *more) for more in
             (("-flto",), ("-D_GLIBCXX_ASSERTIONS",), ("-D_FORTIFY_SOURCE=2",),
              ("-fsanitize=address,undefined",), ("-fuse-ld=gold",))]
    rows += [("clang++", "-O2", "-std=c++20", *more) for more in
             (("-flto", "-fuse-ld=lld"), ("-D_GLIBCXX_ASSERTIONS",), ("-D_FORTIFY_SOURCE=2",),
              ("-fsanitize=address,undefined",), ("-fuse-ld=lld",))]
    return rows


class Wide(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(dir=os.environ["PLINTH_ROOT"])
        prefix = os.path.join(cls.folder, "installed")
        for component in ("development", "runtime"):
            run(CMAKE, "--install", BUILD, "--prefix", prefix, "--component", component)
        library = next(folder for folder, _, names in os.walk(prefix) if "libplinth_wide.a" in names)
        # Does the same as pkg-config, which may be missing.
        words = {"pcfiledir": os.path.join(library, "pkgconfig")}
        with open(os.path.join(words["pcfiledir"], "plinth_w32_system.pc"), encoding="utf-8") as file:
            for line in file:
                line = re.sub(r"\$\{(\w+)\}", lambda word: words[word.group(1)], line.rstrip("\n"))
                if found := re.match(r"(\w+)(?:=|: )(.*)", line):
                    words[found.group(1)] = found.group(2)
        cls.compile_flags = words["Cflags"].split()
        cls.link_flags = words["Libs"].split() + [f"-Wl,-rpath,{library}"]
        cls.prefix = prefix

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def make(self, name, sources, compiler, *flags, linked=True):
        """Builds a program or library from these sources, linked with ours or not."""
        path = os.path.join(self.folder, name)
        ours = [self.compile_flags, self.link_flags + FLAGS] if linked else [[], []]
        run(compiler, *flags, *WARNINGS, *ours[0], "-o", path,
            *[word if word.startswith("-") else source(word) for word in sources], *ours[1])
        return path

    def check_names(self, path):
        """The file neither imports nor exports names of the C++ library with wchar_t."""
        names = run("nm", "-D", "-C", path).splitlines()
        self.assertEqual([name for name in names if "std::" in name and "wchar_t" in name.split("(")[0]],
                         [])

    def idioms(self, *compiler):
        sources = [os.path.join("idioms", name) for name in sorted(os.listdir(source("idioms")))
                   if name.endswith(".cpp")]
        path = self.make("idioms", sources, *compiler)
        result = call(path)
        self.assertEqual([line for line in result.stdout.splitlines() if not line.endswith(": good")][:-1],
                         [], result.stdout[-2000:])
        self.assertEqual(result.returncode, 0, result.stdout[-2000:])
        self.check_names(path)

    def test_idioms_work(self):
        for compiler in combinations():
            with self.subTest(compiler=compiler):
                needs_program(compiler[0], compiler[0].replace("clang++", "clang"))
                self.idioms(*compiler)

    def test_wmain_and_the_console(self):
        for compiler in combinations()[:2]:
            with self.subTest(compiler=compiler):
                needs_program(compiler[0], compiler[0].replace("clang++", "clang"))
                path = self.make("console", ["console.cpp"], *compiler)
                result = call(path, "w\u00f6rd", input="a line \U0001F600\n 12 \u00e9t\u00e9 rest\n")
                self.assertEqual(result.stdout, (
                    "early\nwide \u20ac 2\nnarrow\nprintf\nw\u00f6rd wprintf\nfputws \U0001F600\n"
                    "w\u00f6rd\U0001F600\n[a line \U0001F600][12][\u00e9t\u00e9][ rest\n]\nerror ff log\n"))
                self.assertEqual(result.returncode, 3)

    def three(self, *compiler):
        library = [*compiler, "-fPIC", "-shared"]
        third = self.make("libthird.so", ["libraries/third.cpp"], *library, linked=False)
        ours = self.make("libours.so", ["libraries/ours.cpp"], *library)
        self.check_names(ours)
        alone = self.make("alone", ["libraries/program.cpp"], *compiler)
        expected = run(alone).splitlines()[0].split()[1]
        whole = {"program", "third", "ours"}
        for order in ((third, ours), (ours, third)):
            linked = self.make("linked", ["libraries/program.cpp", *[f"-Wl,{path}" for path in order],
                                          "-DLINKED", f"-Wl,-rpath,{self.folder}"], *compiler)
            said = [line.split() for line in run(linked).splitlines()]
            self.assertEqual({name for name, value in said if value == expected}, whole, said)
            self.assertIn(["doubled", "16"], said)
            self.assertIn(["own", "21"], said)
            arguments = [word for path in order
                         for word in (path, "third" if path == third else "ours")]
            said = [line.split() for line in run(alone, *arguments).splitlines()]
            self.assertEqual([name for name, value in said if value == expected],
                             ["program", *arguments[1::2], "program"], said)

    def test_three_libraries_with_both_widths_in_one_process(self):
        levels = itertools.product(("g++", "clang++"), ("-O0", "-O2"), ("-std=c++20",))
        for compiler in levels if ALL else combinations():
            with self.subTest(compiler=compiler):
                needs_program(compiler[0], compiler[0].replace("clang++", "clang"))
                self.three(*compiler)

    def test_what_mixes_two_widths_is_refused_by_name(self):
        build = os.path.join(self.folder, "refused")
        configure = [CMAKE, "-G", "Ninja", "-S", source("refused"), "-B", build,
                     f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}"]
        self.assertIn("-static-libstdc++", call(*configure, "-DWITH_STATIC=ON").stdout)
        run(*configure, "-DWITH_STATIC=OFF")
        self.assertNotIn("warning", run(CMAKE, "--build", build, "--target", "good"))
        run(os.path.join(build, "good"))
        for target, remedy in (("archive", r"libforeign_static\.a \(third.*-fshort-wchar"),
                               ("script", r"basic_stringIw.*plinth_wide\.map"),
                               ("stream", r"open_wmemstream.*wostringstream")):
            result = call(CMAKE, "--build", build, "--target", target)
            self.assertNotEqual(result.returncode, 0, target)
            self.assertRegex(result.stdout, remedy)

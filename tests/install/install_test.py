"""The installed package, used from outside: by find_package, as a part of a project,
by pkg-config with Make and Meson, and as the README describes.

Runs under the launcher, in a machine of its own (PLINTH_ROOT), and leaves no files. The
environment: PLINTH_SOURCE and PLINTH_BUILD, the two trees; PLINTH_CMAKE, PLINTH_CXX;
PLINTH_CXXFLAGS, what the tree was built with beyond the presets (sanitizers).
"""
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from needs import needs_program

SOURCE = os.environ["PLINTH_SOURCE"]
BUILD = os.environ["PLINTH_BUILD"]
CMAKE = os.environ["PLINTH_CMAKE"]
GENERATOR = os.environ["PLINTH_GENERATOR"]
CXX = os.environ["PLINTH_CXX"]
FLAGS = os.environ.get("PLINTH_CXXFLAGS", "").split()
ROOT = os.environ["PLINTH_ROOT"]
CONSUMER = os.path.join(SOURCE, "examples/consumer")


def run(*command, **more):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            stdin=subprocess.DEVNULL, **more)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{result.stdout}")
    return result.stdout


def read(path, encoding="utf-8"):
    with open(path, encoding=encoding) as file:
        return file.read()


def log_text(below="Quorvane/Platform", encoding="latin-1"):
    folder = os.path.join(ROOT, "ProgramData", below, "Logfiles")
    names = sorted(os.listdir(folder))
    return "".join(read(os.path.join(folder, name), encoding) for name in names)


def block(page, language):
    text = read(os.path.join(SOURCE, page))
    return re.search(rf"^```{language}\n(.*?)^```", text, re.M | re.S).group(1)


class Install(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(dir=ROOT)
        first = os.path.join(self.folder, "first")
        run(CMAKE, "--install", BUILD, "--prefix", first)
        # The tree is moved: no file in it may contain the path where it was installed.
        self.prefix = shutil.move(first, os.path.join(self.folder, "moved"))
        self.library = next(folder for folder, _, names in os.walk(self.prefix)
                            if "libplinth_w32_system.so" in names)
        self.environment = dict(os.environ, LD_LIBRARY_PATH=self.library,
                                PKG_CONFIG_PATH=os.path.join(self.library, "pkgconfig"))

    def with_cmake(self, source, *more):
        build = os.path.join(self.folder, "build")
        run(CMAKE, "-G", GENERATOR, "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}", *more)
        run(CMAKE, "--build", build)
        return build

    def run_consumer(self, program, folder="Acme/Consumer", **more):
        """16-bit text in arguments, functions, strings, streams and the console; and resources."""
        out = run(program, "gr\u00fc\u00dfe \U0001F600", **more)
        self.assertEqual(out, "files work, threads work, log works\n"
                              "gr\u00fc\u00dfe \U0001F600: 8 characters, 0067, 2.5\n")
        # log_text reads UTF-16 only with its byte order mark.
        log = log_text(folder, "utf-16")
        # The first and last line show that the library works while the program's static objects are
        # made and destroyed.
        lines = ["begins", "1 trace", "this line is in the log", "has ended"]
        self.assertEqual(re.findall(r"consumer: (.*)\n", log), lines)
        shutil.rmtree(os.path.join(ROOT, "ProgramData"))

    def test_a_cmake_project_finds_it(self):
        build = self.with_cmake(CONSUMER)
        # Without LD_LIBRARY_PATH: CMake stores the path of the libraries in the program.
        self.run_consumer(os.path.join(build, "consumer"))

    def needs_archive(self):
        if not os.path.exists(os.path.join(self.library, "libplinth_w32_system_static.a")):
            self.skipTest("this build has no archive: it was configured without PLINTH_STATIC=ON")

    def test_a_program_can_have_the_library_in_its_own_file(self):
        self.needs_archive()
        build = self.with_cmake(CONSUMER, "-DCONSUMER_STATIC=ON")
        shutil.rmtree(self.library)
        program = os.path.join(build, "consumer")
        self.assertNotIn("plinth", run("readelf", "-d", program))
        self.run_consumer(program)

    def test_a_library_with_the_archive_in_it_stays_when_it_is_closed(self):
        self.needs_archive()
        needs_program("pkg-config", "pkgconf")
        flags = run("pkg-config", "--cflags", "--libs", "plinth_w32_system_static",
                    env=self.environment).split()
        library = os.path.join(self.folder, "libwith.so")
        run(CXX, "-shared", "-fPIC", "-x", "c++", "/dev/null", "-x", "none", "-o", library, *flags)
        # The thread that opened the library has ended: thread-local objects would also keep it
        # loaded.
        mapped = run(sys.executable, "-c",
                     "import _ctypes, sys\n"
                     "from concurrent.futures import ThreadPoolExecutor\n"
                     "with ThreadPoolExecutor() as pool:\n"
                     "    handle = pool.submit(_ctypes.dlopen, sys.argv[1], 2).result()\n"
                     "_ctypes.dlclose(handle)\n"
                     "print(open('/proc/self/maps').read())", library)
        self.assertIn(library, mapped)

    def test_configuring_says_what_was_not_tried_and_refuses_what_cannot_work(self):
        for processor, bits, compiler, version, status, said in (
                ("x86_64", 64, "GNU", "12.2.0", 0, ""),
                ("AMD64", 64, "Clang", "14.0.6", 0, ""),
                ("x86_64", 64, "GNU", "13.1.0", 0, "the compiler GNU 13.1.0 has not been tried"),
                ("x86_64", 64, "Intel", "12.0", 0, "the compiler Intel 12.0 has not been tried"),
                ("x86_64", 64, "GNU", "7.2.0", 1, "GNU 7.2.0 does not know C++20"),
                ("aarch64", 64, "GNU", "12.2.0", 1, "runs on x86-64 with 64 bits only"),
                ("", 64, "GNU", "12.2.0", 1, "this build is for an unknown processor"),
                ("x86_64", 32, "GNU", "12.2.0", 1, "runs on x86-64 with 64 bits only")):
            with self.subTest(processor=processor, bits=bits, compiler=compiler, version=version):
                known = "cxx_std_17" + ("" if version == "7.2.0" else ";cxx_std_20")
                result = subprocess.run(
                    [CMAKE, f"-DCMAKE_CXX_COMPILE_FEATURES={known}",
                     f"-DCMAKE_SYSTEM_PROCESSOR={processor}",
                     f"-DCMAKE_SIZEOF_VOID_P={bits // 8}", f"-DCMAKE_CXX_COMPILER_ID={compiler}",
                     f"-DCMAKE_CXX_COMPILER_VERSION={version}", "-P",
                     os.path.join(SOURCE, "cmake/PlinthSystem.cmake")],
                    capture_output=True, text=True)
                text = " ".join(result.stderr.split())
                self.assertEqual((result.returncode, said in text, bool(text)),
                                 (status, True, bool(said)), text)

    def test_comments_of_headers_name_installed_documents(self):
        headers = os.path.join(self.prefix, "include")
        names = {name for folder, _, files in os.walk(headers) for file in files
                 for name in re.findall(r"[\w/-]+\.md", read(os.path.join(folder, file)))}
        self.assertIn("docs/timers.md", names)
        documents = os.path.join(self.prefix, "share/doc/plinth")
        missing = [name for name in sorted(names - {"docs/NAME.md"})
                   if not os.path.exists(os.path.join(documents, name))]
        self.assertEqual(missing, [])

    def test_make_finds_it_by_pkg_config(self):
        needs_program("pkg-config", "pkgconf")
        needs_program("make", "make")
        run("make", "-C", CONSUMER, f"OUT={self.folder}", f"CXX={CXX}", f"CXXFLAGS={' '.join(FLAGS)}",
            env=self.environment)
        self.run_consumer(os.path.join(self.folder, "consumer"), env=self.environment)

    def test_meson_finds_it_by_pkg_config(self):
        needs_program("pkg-config", "pkgconf")
        needs_program("meson", "meson")
        build = os.path.join(self.folder, "build")
        flags = " ".join(FLAGS)
        run("meson", "setup", build, CONSUMER,
            env=dict(self.environment, CXX=CXX, CXXFLAGS=flags, LDFLAGS=flags))
        run("meson", "compile", "-C", build)
        self.run_consumer(os.path.join(build, "consumer"), env=self.environment)

    def test_the_example_of_the_readme_does_what_it_says(self):
        source = os.path.join(self.folder, "readme")
        os.makedirs(source)
        for name, page, language in (("main.cpp", "README.md", "cpp"),
                                     ("CMakeLists.txt", "docs/building.md", "cmake")):
            with open(os.path.join(source, name), "w", encoding="utf-8") as file:
                file.write(block(page, language))
        build = self.with_cmake(source)
        run(os.path.join(build, "hello"))
        # All numbers may differ, except those of source lines.
        shown = block("README.md", "text").replace("/home/me/hello", source)
        log, shown = (re.sub(r"(?<! : )(?<!\d)\d+", "0", text).splitlines()
                      for text in (log_text(), shown))
        for line in shown:
            self.assertIn(line, log)

    def test_the_installed_tool_runs_from_anywhere_and_libraries_have_versioned_names(self):
        trace = os.path.join(self.prefix, "bin/plinth-trace")
        self.assertRegex(run(trace, "--version", cwd="/"), r"^plinth-trace \d")
        for name in ("w32_system", "w32_pthreadVC", "platform"):
            path = os.path.join(self.library, f"libplinth_{name}.so")
            # Before 1.0 a minor version may change the interface.
            soname = os.path.basename(os.path.realpath(path)).rsplit(".", 1)[0]
            self.assertIn(f"[{soname}]", run("readelf", "-d", path))
            self.assertRegex(soname, r"\.so\.(0\.\d+|[1-9]\d*)$")

    def compile_each_header(self, compiler):
        """Each installed header alone, as a user's strict project includes it."""
        headers = os.path.join(self.prefix, "include/plinth")
        names = [os.path.relpath(os.path.join(folder, name), headers).removeprefix("platform/")
                 for folder, _, files in os.walk(headers) for name in files]
        # Headers named like those of other libraries need the other library; tests/platform/headers
        # compiles them. Internal headers are not for users.
        neighbours = ["winscard.h", "sql.h", "sqlext.h", "sqltypes.h", "sqlucode.h", "odbcinst.h"]
        names = [name for name in names if name not in neighbours and "/internal/" not in name]
        self.assertIn("plinth_w32_system/files.h", names)
        self.assertIn("windows.h", names)
        # These include another library's header, which may be missing; platform_headers tests them.
        names = [name for name in names
                 if name not in ("winscard.h", "odbcinst.h") and not name.startswith("sql")]

        def compile_one(name, standard):
            source = os.path.join(self.folder, f"{name.replace('/', '_')}-{standard}.cpp")
            with open(source, "w", encoding="utf-8") as file:
                file.write(f"#include <{name}>\n")
            run(compiler, f"-std={standard}", "-fsyntax-only", "-fshort-wchar", "-Wall", "-Wextra",
                "-Wpedantic", "-Werror", f"-I{headers}", f"-I{headers}/platform", source)

        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for done in [pool.submit(compile_one, name, standard)
                         for standard in ("c++17", "c++20") for name in names]:
                done.result()

    def test_each_header_compiles_without_warnings(self):
        self.compile_each_header(CXX)

    def test_each_header_compiles_without_warnings_with_clang(self):
        needs_program("clang++", "clang")
        self.compile_each_header("clang++")

    def test_a_project_that_it_is_part_of_gets_no_settings_tests_or_files_of_it(self):
        """Builds one library in the project: building all takes minutes, and is tested elsewhere.
        The program is then linked with the libraries of this tree, by its project's targets."""
        needs_program("make", "make")
        source = os.path.join(self.folder, "parent")
        os.makedirs(source)
        shutil.copy(os.path.join(CONSUMER, "main.cpp"), source)
        shutil.copy(os.path.join(SOURCE, "tests/install/parent.cmake"),
                    os.path.join(source, "CMakeLists.txt"))
        for way, part in (("add_subdirectory", "plinth"), ("FetchContent", "_deps/plinth-build")):
            with self.subTest(way=way):
                build = os.path.join(self.folder, way)
                run(CMAKE, "-G", "Unix Makefiles", "-S", source, "-B", build, f"-DWAY={way}",
                    f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}",
                    f"-DPLINTH={SOURCE}")
                if way == "add_subdirectory":
                    run(CMAKE, "--build", build, "--target", "plinth_w32_pthreadVC")
                for folder, _, names in os.walk(os.path.join(BUILD, "src")):
                    for name in (name for name in names if re.match(r"libplinth_(w32|platform|wide).*\.(a|so)", name)):
                        target = os.path.join(build, part, os.path.relpath(folder, BUILD), name)
                        if not os.path.exists(target):
                            shutil.copy(os.path.join(folder, name), target, follow_symlinks=False)
                run(CMAKE, "--build", build, "--target", "parent/fast")
                self.run_consumer(os.path.join(build, "parent"), "Acme/Parent")
                run(CMAKE, "--install", build, "--prefix", os.path.join(self.folder, "installed"))
                self.assertFalse(os.path.exists(os.path.join(self.folder, "installed")))

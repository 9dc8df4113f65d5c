// Folders that belong to one test process, and files in them.
#pragma once

#include <string>

#include "support/wide_text.h"

namespace test
{

// The folder of this process. It is made before the library is loaded, and removed with its content
// when the process has ended or crashed. On Linux it is also PLINTH_ROOT. Native form, no separator
// at the end.
const std::string& root();

// The same in Windows form ("C:\tmp\...").
Wide root_path();

// A fresh folder below root(); native form.
std::string make_folder(const std::string& name);

// The same outside of root(), removed with it. On Linux, files below root() are guarded as the
// machine's state is, and these aren't.
std::string make_folder_outside(const std::string& name);

// The Windows form of a native path below root(), and back.
Wide windows_form(const std::string& native);
std::string native_form(const wchar_t* windows);

// Whole files by native path. read_file returns "" for a missing file.
std::string read_file(const std::string& native);
void write_file(const std::string& native, const std::string& bytes);

// Runs this test program again in a process of its own with one function as its main: tests of
// several processes register a function by name and start it with arguments.
struct ChildMain
{
    using Function = int (*)(int argc, char** argv);
    ChildMain(const char* name, Function function);
};

// The path of this program, for starting children: program --child NAME arguments...
const std::string& program();

} // namespace test

// Finds the file of a module by its name.
//
// An application uses the same module names as elsewhere ("editor.dll"), while a build system here
// makes "libeditor.so". So for a name that ends in ".dll" each folder is also searched for the
// other two forms.
#pragma once

#include <string>
#include <vector>

namespace platform
{

// The file names to try for a module's name, in order: with ".dll" if it has no extension, without
// a "." at its end; and for X.dll also libX.so and X.so.
std::vector<std::string> module_file_names(const std::string& name);

// What to pass to the loader: the first file that exists, for a path in its folder, for a bare name
// beside the program and in the current folder; otherwise, for a bare name, all its forms, for the
// loader's own search.
std::vector<std::string> find_module_files(const std::string& native);

} // namespace platform

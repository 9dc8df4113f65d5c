// Where a module lies that was named.
//
// An application builds the names of its modules as it does elsewhere ("editor.dll"), while a build
// system of this one makes "libeditor.so". So for a name that ends in ".dll" each place is also
// searched for the other two forms of it.
#pragma once

#include <string>
#include <vector>

namespace platform
{

// The file names that a module's name stands for, in order: with ".dll" if it has no extension,
// without a "." at its end; and for X.dll also libX.so and X.so.
std::vector<std::string> module_file_names(const std::string& name);

// What to hand to the loader: the first file that is there, of a path in its folder, of a bare name
// beside the program and in the current folder; otherwise, for a bare name, all its forms, for the
// loader's own search.
std::vector<std::string> find_module_files(const std::string& native);

} // namespace platform

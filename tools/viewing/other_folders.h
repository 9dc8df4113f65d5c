// The log folders that programs have named for themselves: beside the default one.
#pragma once

#include <string>

namespace trace
{

// The one whose log was written last; empty if there is none. It is as deep as the default one: a
// name that a program chooses freely may be anywhere else.
std::string newest_other_folder();

} // namespace trace

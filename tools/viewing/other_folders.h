// The log folders that programs have named for themselves: beside the default one.
#pragma once

#include <cstdint>
#include <string>

namespace trace
{

// The one whose log was written last; empty if there is none that was written later than this, a
// FILETIME. It is as deep as the default one: a name that a program chooses freely may be anywhere
// else.
std::string newest_other_folder(uint64_t written = 0);

} // namespace trace

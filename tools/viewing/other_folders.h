// The log folders that programs have named for themselves, near the default one.
#pragma once

#include <cstdint>
#include <string>

namespace trace
{

// The folder whose log was written last; empty if no log was written later than `written`, a
// FILETIME. Only folders at the same depth as the default one are searched: a name that a program
// chooses freely may be anywhere else.
std::string newest_other_folder(uint64_t written = 0);

} // namespace trace

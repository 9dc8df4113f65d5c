// The drives: "C:\" is the root directory, further ones come from PLINTH_DRIVES.
#pragma once

#include <string>
#include <string_view>

namespace platform
{

struct Drive
{
    char letter;      // upper case
    std::string root; // native, no slash at the end; empty for the root directory
};

// Null if there is no such drive. The letter may be of either case.
const Drive* find_drive(wchar_t letter);

// The drive with the longest root that is a prefix of an absolute native path.
const Drive& drive_of(std::string_view native);

// The letters of all drives, "C" first.
std::string drive_letters();

} // namespace platform

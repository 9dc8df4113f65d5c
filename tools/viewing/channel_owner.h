// Which program has the debug string channel. One source file for each system.
#pragma once

#include <optional>
#include <string>

#include <windows.h>

namespace trace
{

struct ChannelOwner
{
    DWORD process = 0;
    std::string name{}; // of its image; empty if unknown
};

// Nothing if the program is unknown, as always on Windows, or is this process. Looks at all of the
// user's processes.
std::optional<ChannelOwner> channel_owner();

} // namespace trace

// File attributes from permissions, shared by paths and searches.
#pragma once

#include "system/calls.h"
#include "winnt.h"

namespace platform
{

// is_link: the entry itself is a symbolic link, whatever it points at.
DWORD attributes_of(mode_t mode, bool is_link);

} // namespace platform

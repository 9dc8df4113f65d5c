// Opening and claiming a file, repeated until the claimed file is the one that has the name.
#pragma once

#include <utility>

#include "share_modes.h"

namespace platform
{

// open: returns a descriptor, or -1 with errno, which ends the function; the file is -1 then.
// admit(gone): claims the file; returns 0 or an error, which also ends the function. admit sets
// gone if the file was deleted or replaced between open and claim: then the name is opened again.
template <class Open, class Admit>
auto open_claimed(ClaimedFile& file, Open open, Admit admit)
    -> decltype(admit(std::declval<bool&>()))
{
    for (;;)
    {
        file.reset(open());
        if (file < 0)
            return 0;
        bool gone = false;
        if (const auto error = admit(gone); error || !gone)
            return error;
    }
}

} // namespace platform

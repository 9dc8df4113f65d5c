// Opening a file and claiming it, until the file that is claimed is the one that has the name.
#pragma once

#include <utility>

#include "share_modes.h"

namespace platform
{

// open: a descriptor, or -1 with errno, which ends this; the file is -1 then. admit(gone): claims
// the file; 0 or an error, which ends this, too. It sets gone if somebody has deleted or replaced
// the file between the two: then it is opened anew.
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

// A claimed file that the library keeps open for long: it is claimed again when it is opened again.
#pragma once

#include <cstdint>

#include "share_modes.h"
#include "system/own_descriptor.h"

namespace platform
{

// Any thread may use it; only one may take or close it.
class OwnClaimedFile : private OwnDescriptor
{
public:
    ~OwnClaimedFile() { close(); }

    // Takes over a file that was claimed by this request, as OwnDescriptor.
    void take(ClaimedFile&& file, const struct stat& found, const char* path,
              const ShareRequest& request);
    using OwnDescriptor::checked_number;
    using OwnDescriptor::number;
    using OwnDescriptor::renewed;
    // Releases share modes and ranges, as ClaimedFile does, and closes. 0, or -1 with errno.
    int close();

private:
    uint32_t m_process = 0; // fork_count() of the process that claimed
};

} // namespace platform

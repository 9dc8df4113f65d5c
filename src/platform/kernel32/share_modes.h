// Share modes, between processes too and without a server.
//
// Each open of a regular file announces what it does and what it denies by shared locks of its open
// file description on a few bytes far beyond any file's end, then looks for locks of others on the
// bytes that would contradict it. The kernel drops the locks with the descriptor, also when the
// process is killed.
//
// Announcing comes first, so that of two opens that contradict each other at the same moment at
// least one sees the other. Both may; each then withdraws and tries again after a short random
// time, a few times, before it takes the conflict for real. (A gate that serialised the opens would
// need a write lock, which a read-only descriptor can't take.)
//
// File systems without such locks, and files that can't be read, go without.
#pragma once

#include <sys/types.h>

#include "windef.h"

namespace platform
{

// The first of the bytes of the share modes; locks of callers stay below.
inline constexpr off_t share_bytes_start = 0x7FFFFFFFFFFF0000;

struct ShareRequest
{
    bool reads;
    bool writes;
    bool overwrites; // cuts what is there, whether it goes on to write or not
    bool shares_read;
    bool shares_write;
};

// Announces the request on a descriptor that is just opened. 0, or ERROR_SHARING_VIOLATION. A
// request for no access at all denies nothing and is denied nothing.
DWORD claim_share(int fd, const ShareRequest& request);

// Whether the file lost its name to a deletion before it was claimed: then the name is to be opened
// once more. A name that leads to a file without one belongs to the kernel (/proc/self/fd).
bool lost_its_name(int fd, const char* native_path);

// Keeps a file from being opened through this interface while it is deleted, moved or replaced: no
// open of ours shares deletion. Lasts until the scope's end, which is after the call that does it.
// An open that got hold of the file before it went finds it without a name, and looks again.
class DeleteClaim
{
public:
    // A link is not what it points at: it, what is missing and what can't be opened are free.
    explicit DeleteClaim(const char* native_path);
    DeleteClaim(const DeleteClaim&) = delete;
    DeleteClaim& operator=(const DeleteClaim&) = delete;
    ~DeleteClaim();
    // ERROR_SHARING_VIOLATION if somebody holds the file open, else 0.
    DWORD error() const { return m_error; }

private:
    int m_fd = -1;
    DWORD m_error = 0;
};

} // namespace platform

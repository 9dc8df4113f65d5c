// An open file: what a file handle stands for.
#pragma once

#include <mutex>
#include <vector>

#include "handle_table.h"
#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

class FileObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::file;

    FileObject(int fd, bool readable, bool writable, bool regular)
        : Object(object_kind), m_fd(fd), m_readable(readable), m_writable(writable),
          m_regular(regular)
    {
    }
    DWORD close() override { return sys::close(m_fd) == 0 ? 0 : system_error(errno); }

    int fd() const { return m_fd; }
    bool readable() const { return m_readable; } // as the caller asked, whatever the descriptor is
    bool writable() const { return m_writable; }
    bool regular() const { return m_regular; }

    struct Range
    {
        uint64_t offset;
        uint64_t length;
        bool operator==(const Range&) const = default;
    };
    // Guards m_ranges, of all files, so that a fork finds it; no other lock is taken under it.
    static inline std::mutex m_lock;
    std::vector<Range> m_ranges; // what LockFile locked through this handle

private:
    const int m_fd;
    const bool m_readable;
    const bool m_writable;
    const bool m_regular;
};

} // namespace platform

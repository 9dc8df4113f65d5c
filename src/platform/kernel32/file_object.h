// An open file: what a file handle stands for.
#pragma once

#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "handle_table.h"
#include "system/calls.h"
#include "system/last_error.h"
#include "system/own_descriptor.h"

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
    DWORD close() override
    {
        return (m_own ? m_own->close() : sys::close(m_fd)) == 0 ? 0 : system_error(errno);
    }

    // For a file that can only be appended to, which is a log of the library's own and lives as
    // long as its program: from here on its descriptor knows its file.
    void keep_as_own(const struct stat& found, const char* path, OwnDescriptor::Prepare prepare)
    {
        m_own.reset(new (std::nothrow) OwnDescriptor);
        if (m_own)
            m_own->take(m_fd, found, path, std::move(prepare));
    }

    int fd() const { return m_own ? m_own->number() : m_fd; }
    // Whether a call that has failed with this number is worth another try with fd().
    bool renewed(int failed) const { return m_own && m_own->renewed(failed); }
    bool readable() const { return m_readable; } // as the caller asked, whatever the descriptor is
    bool writable() const { return m_writable; }
    bool regular() const { return m_regular; }

    struct Range
    {
        uint64_t offset;
        uint64_t length;
        bool operator==(const Range&) const = default;
    };
    std::mutex m_lock;           // guards m_ranges; no other lock is taken while it is held
    std::vector<Range> m_ranges; // what LockFile locked through this handle

private:
    const int m_fd; // if there is no m_own
    std::unique_ptr<OwnDescriptor> m_own;
    const bool m_readable;
    const bool m_writable;
    const bool m_regular;
};

} // namespace platform

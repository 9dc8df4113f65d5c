// An open file: the object of a file handle.
#pragma once

#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "kernel32/object/handle_table.h"
#include "own_claimed_file.h"
#include "share_modes.h"
#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

class FileObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::file;

    FileObject(ClaimedFile&& file, bool readable, bool writable, bool regular)
        : Object(object_kind), m_file(std::move(file)), m_readable(readable), m_writable(writable),
          m_regular(regular)
    {
    }
    DWORD close() override;

    // For a file that can only be appended to, which is one of the library's own logs and lives as
    // long as its program: from here on its descriptor can be checked against its file.
    void keep_as_own(const struct stat& found, const char* path, const ShareRequest& request);

    int fd() const { return m_own ? m_own->number() : static_cast<int>(m_file); }
    // Checks that the descriptor still refers to its file.
    void check_fd() const
    {
        if (m_own)
            m_own->checked_number();
    }
    // Calls with fd(). If that fails and the program had closed the descriptor, the file is opened
    // again and the call is repeated, once.
    template <class Call> auto on_fd(Call call) const
    {
        const int first = fd();
        const auto result = call(first);
        return result < 0 && m_own && m_own->renewed(first) ? call(fd()) : result;
    }
    bool readable() const { return m_readable; } // as the caller asked; the descriptor may do more
    bool writable() const { return m_writable; }
    bool regular() const { return m_regular; }

    struct Range
    {
        uint64_t offset;
        uint64_t length;
        unsigned process; // that locked it: a forked child inherits its parent's ranges
        bool is(const Range& other) const
        {
            return offset == other.offset && length == other.length;
        }
    };
    // Guards m_file and m_ranges of all files: one lock for all, so that a fork can take it. No
    // other lock is taken while it is held.
    static inline std::mutex m_lock;
    ClaimedFile m_file;
    std::vector<Range> m_ranges; // ranges that LockFile locked through this handle

private:
    std::unique_ptr<OwnClaimedFile> m_own; // then m_file has none
    const bool m_readable;
    const bool m_writable;
    const bool m_regular;
};

} // namespace platform

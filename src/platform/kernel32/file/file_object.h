// An open file: what a file handle stands for.
#pragma once

#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "kernel32/object/handle_table.h"
#include "share_modes.h"
#include "system/calls.h"
#include "system/last_error.h"
#include "system/own_descriptor.h"

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

    // For a file that can only be appended to, which is a log of the library's own and lives as
    // long as its program: from here on its descriptor knows its file.
    void keep_as_own(const struct stat& found, const char* path, const ShareRequest& request);

    int fd() const { return m_own ? m_own->number() : static_cast<int>(m_file); }
    // The same, compared with its file now.
    int checked_fd() const { return m_own ? m_own->checked_number() : static_cast<int>(m_file); }
    // Whether a call that has failed with this number is worth another try with fd().
    bool renewed(int failed) const { return m_own && m_own->renewed(failed); }
    bool readable() const { return m_readable; } // as the caller asked, whatever the descriptor is
    bool writable() const { return m_writable; }
    bool regular() const { return m_regular; }

    struct Range
    {
        uint64_t offset;
        uint64_t length;
        unsigned process; // that locked it: a forked child has the ranges of its parent too
        bool is(const Range& other) const
        {
            return offset == other.offset && length == other.length;
        }
    };
    // Guards m_file and m_ranges, of all files, so that a fork finds it; no other lock is taken
    // under it.
    static inline std::mutex m_lock;
    ClaimedFile m_file;
    std::vector<Range> m_ranges; // what LockFile locked through this handle

private:
    std::unique_ptr<OwnDescriptor> m_own; // then m_file has none
    const bool m_readable;
    const bool m_writable;
    const bool m_regular;
};

} // namespace platform

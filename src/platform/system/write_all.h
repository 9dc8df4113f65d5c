// Writing all of a buffer.
#pragma once

#include "calls.h"

namespace platform
{

// 0 or an errno; bytes written before a failure stay.
inline int write_all(int fd, const void* data, size_t size)
{
    const char* at = static_cast<const char*>(data);
    while (size > 0)
    {
        const ssize_t count = sys::write(fd, at, size);
        if (count <= 0)
            return count == 0 ? EIO : errno;
        at += count;
        size -= static_cast<size_t>(count);
    }
    return 0;
}

} // namespace platform

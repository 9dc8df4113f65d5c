// A descriptor that another library keeps open: only that library could move or close it. The
// program may close its number and get that number for another file.
#pragma once

#include "plain_calls.h"

namespace platform
{

class KeptFile
{
public:
    KeptFile() = default;
    // The descriptor stays the other library's. Negative: there is none to check.
    explicit KeptFile(int fd)
    {
        struct stat found;
        if (fd < 0 || sys::fstat(fd, &found) != 0)
            return;
        m_fd = fd;
        m_device = found.st_dev;
        m_inode = found.st_ino;
    }
    // Whether the number still belongs to this file. Only a closed number or another file proves
    // that it doesn't; a call that fails for another reason proves nothing.
    bool is_still() const
    {
        struct stat found;
        if (m_fd < 0)
            return true;
        if (sys::fstat(m_fd, &found) != 0)
            return errno != EBADF;
        return found.st_dev == m_device && found.st_ino == m_inode;
    }

private:
    int m_fd = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
};

} // namespace platform

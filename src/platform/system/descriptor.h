// A descriptor that is closed with its scope.
#pragma once

#include "plain_calls.h"

namespace platform
{

class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd >= 0)
            sys::close(m_fd);
    }
    operator int() const { return m_fd; }

private:
    const int m_fd;
};

} // namespace platform

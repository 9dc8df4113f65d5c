// What files are replaced with in one step: a descriptor that closes itself, and the name of a
// temporary file beside the target.
#pragma once

#include <string>

#include "system/calls.h"

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

// A name beside the target that nobody uses and nobody can guess: it is to be made with O_EXCL.
// Empty, with errno, if the system gives no random numbers.
// With a beginning, the name is the target's, the beginning and the part that can't be guessed.
std::string temporary_beside(const std::string& target, const char* beginning = nullptr);

} // namespace platform

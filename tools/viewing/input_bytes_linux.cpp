#include "input_bytes.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "failure.h"

namespace trace
{

std::optional<size_t> read_input(char* buffer, size_t size, unsigned milliseconds)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, static_cast<int>(milliseconds));
    if (ready == 0 || (ready < 0 && errno == EINTR))
        return std::nullopt;
    const ssize_t length = ready < 0 ? -1 : read(STDIN_FILENO, buffer, size);
    if (length >= 0)
        return static_cast<size_t>(length);
    if (errno == EINTR || errno == EAGAIN)
        return std::nullopt;
    throw Failure(exit_failed,
                  std::string("standard input can't be read: ") + std::strerror(errno));
}

} // namespace trace

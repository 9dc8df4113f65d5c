#include "descriptor_write_linux.h"

#include <cerrno>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "failure.h"
#include "interruption.h"

namespace trace
{

namespace
{

// Waits until there is room for more, if the descriptor doesn't wait by itself.
void wait_for_room(int descriptor)
{
    constexpr int slice = 1000; // ms
    pollfd output{descriptor, POLLOUT, 0};
    poll(&output, 1, slice);
}

// is_stuck: whether the program was to end already at the last call, and nothing was read since.
void end_if_stuck(bool& is_stuck)
{
    if ((!interrupted() && !time_is_over()) || !std::exchange(is_stuck, true))
        return;
    if (interrupted())
        throw OutputClosed();
    throw TimeOver();
}

} // namespace

int write_to_descriptor(int descriptor, std::string_view bytes)
{
    bool is_stuck = false;
    while (!bytes.empty())
    {
        const ssize_t done = write(descriptor, bytes.data(), bytes.size());
        if (done >= 0)
        {
            bytes.remove_prefix(static_cast<size_t>(done));
            made_progress();
            is_stuck = false;
            continue;
        }
        const int error = errno;
        if (error == EPIPE)
            throw OutputClosed();
        if (error != EINTR && error != EAGAIN)
            return error;
        end_if_stuck(is_stuck);
        if (error == EAGAIN)
            wait_for_room(descriptor);
    }
    return 0;
}

} // namespace trace

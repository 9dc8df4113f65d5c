// SIGXFSZ ends a process that writes beyond its limit of a file's size, in the middle of a record.
// Where nobody has chosen anything else by the time of the load, an empty handler takes its place:
// the write then fails, which its caller learns as of a full disk. The signal is not ignored, since
// programs that are started would inherit that; a handler they don't.
#include "calls.h"

namespace platform
{

namespace
{

void go_on(int) {}

[[gnu::constructor]] void survive_file_size_limit()
{
    struct sigaction action = {};
    if (sys::sigaction(SIGXFSZ, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) ||
        action.sa_handler != SIG_DFL)
        return;
    action = {};
    action.sa_handler = go_on;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sys::sigaction(SIGXFSZ, &action);
}

} // namespace

} // namespace platform

// SIGXFSZ ends a process that writes beyond its limit of a file's size, in the middle of a record.
// If the program has set nothing else before this library is loaded, an empty handler replaces the
// default: the write then fails, as on a full disk. The signal is not ignored, since started
// programs would inherit that; they don't inherit a handler.
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

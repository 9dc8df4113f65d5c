// The runtime calls the handler in a thread of its own and then resets the signal to its default
// action: a second Ctrl-C ends the program.
#include "interruption.h"

#include <csignal>

#include "failure.h"

namespace trace
{

namespace
{

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void plinth_viewing_on_interrupt(int)
{
    g_interrupted = 1;
}

} // namespace

void catch_interruption()
{
    std::signal(SIGINT, plinth_viewing_on_interrupt);
    std::signal(SIGTERM, plinth_viewing_on_interrupt);
}

bool interrupted()
{
    return g_interrupted != 0;
}

void end_waits_at(std::chrono::steady_clock::time_point) {}

bool time_is_over()
{
    return false;
}

void made_progress() {}

void before_forced_end(void (*)()) {}

void end_if_interrupted()
{
    if (interrupted())
        throw Interrupted();
}

} // namespace trace

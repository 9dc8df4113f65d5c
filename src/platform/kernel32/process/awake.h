// What this process asks of the machine's power management, put together from the calls of all its
// threads, and the locks that stand for it.
#pragma once

#include <string>

namespace platform
{

enum class Inhibition
{
    idle,         // the machine's own falling asleep
    sleep,        // any sleep
    shutdown,     // shutting down and restarting
    screen_saver, // the desktop's screen saver and dark screen
};
inline constexpr unsigned inhibition_count = 4;

// Adds a demand or takes one back; the lock lasts for as long as there is a demand. Never fails:
// where there is nobody to ask, nothing happens.
void demand(Inhibition what);
void end_demand(Inhibition what);

// What people are told: locks that are held are taken anew with it.
void set_inhibition_reason(const std::string& reason);

} // namespace platform

// What this process requires of the machine's power management, combined from the calls of all its
// threads, and the locks that enforce it.
#pragma once

#include <string>

namespace platform
{

enum class Inhibition
{
    idle,         // automatic sleep
    sleep,        // any sleep
    shutdown,     // shutting down and restarting
    screen_saver, // the desktop's screen saver and dark screen
};
inline constexpr unsigned inhibition_count = 4;

// Adds a demand or takes one back; the lock lasts while there is a demand. Never fails: if no
// service provides the lock, nothing happens.
void demand(Inhibition what);
void end_demand(Inhibition what);

// The reason shown to people: locks that are held are taken anew with it.
void set_inhibition_reason(const std::string& reason);

} // namespace platform

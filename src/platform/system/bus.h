// Keeping the machine awake through the message bus: locks of the login manager, and the desktop's
// screen saver held off.
//
// The bus's client library is loaded when it is first needed. Without it, without a bus, or without
// whoever should answer, there are no locks, and nothing else changes. What is asked in a row waits
// for two seconds at most, all together. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

struct sd_bus; // of the client library

namespace platform
{

// Takes a lock of the login manager: what is "idle", "sleep" or "shutdown". It lasts for as long as
// the descriptor, the caller's, is open in any process. -1 if there is none to be had.
int take_login_lock(const char* what, const std::string& who, const std::string& why);

// The desktop's screen saver, held off for as long as the object holds it. The desktop sees the
// connection go when the process ends.
class ScreenSaverLock
{
public:
    ScreenSaverLock() = default;
    ScreenSaverLock(const ScreenSaverLock&) = delete;
    ScreenSaverLock& operator=(const ScreenSaverLock&) = delete;

    bool is_held() const { return m_bus != nullptr; }
    // Anew, if it is held already: the former hold is let go after the new one is there.
    void take(const std::string& who, const std::string& why);
    void release();

private:
    sd_bus* m_bus = nullptr;
    uint32_t m_cookie = 0;
};

} // namespace platform

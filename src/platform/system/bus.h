// Keeping the machine awake through the message bus: locks of the login manager, and suppression of
// the desktop's screen saver.
//
// The bus's client library is loaded when it is first needed. Without the library, the bus or the
// service that should answer, there are no locks, and nothing else changes. Requests in a row wait
// for two seconds at most, all together. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "kept_file.h"

struct sd_bus; // of the client library

namespace platform
{

// Takes a lock of the login manager. what: "idle", "sleep" or "shutdown". The lock lasts while the
// descriptor, which the caller owns, is open in any process. -1 if no lock could be taken.
int take_login_lock(const char* what, const std::string& who, const std::string& why);

// Suppresses the desktop's screen saver while the object holds it. The desktop ends that when the
// process, and so the connection, ends.
class ScreenSaverLock
{
public:
    ScreenSaverLock() = default;
    ScreenSaverLock(const ScreenSaverLock&) = delete;
    ScreenSaverLock& operator=(const ScreenSaverLock&) = delete;

    // False also if the program has closed the connection, as daemons close all descriptors.
    bool is_held() const { return m_bus && m_socket.is_still(); }
    // Takes it anew if it is held already: the former hold is released after the new one is taken.
    void take(const std::string& who, const std::string& why);
    void release();

private:
    sd_bus* m_bus = nullptr;
    KeptFile m_socket; // of the bus
    uint32_t m_cookie = 0;
};

} // namespace platform

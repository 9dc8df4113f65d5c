// A timer that traces at intervals that plinth-demo is running, for the life of the object.
#pragma once

#include <cstdint>

namespace demo
{

class Heartbeat
{
public:
    Heartbeat();
    Heartbeat(const Heartbeat&) = delete;
    Heartbeat& operator=(const Heartbeat&) = delete;
    ~Heartbeat(); // no beat comes after this returns

private:
    const uintptr_t m_timer; // 0: the timer could not be started, and there is no heartbeat
};

} // namespace demo

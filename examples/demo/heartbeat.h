// A timer that traces that plinth-demo lives, as long as the object does.
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
    ~Heartbeat(); // after it no beat comes any more

private:
    const uintptr_t m_timer; // 0: there is none, and the demo has no heartbeat
};

} // namespace demo

// The control page of the debug string channel: what the writers of all of the user's processes
// share behind the protocol with a listener.
#pragma once

#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace platform
{

int64_t
channel_patience(); // ns that a text may cost its writer: 500 ms, unless a test has changed it

struct ChannelControl
{
    std::atomic<uint32_t> magic;
    std::atomic<uint32_t> listener;   // 0: nobody listens; else which listener it is
    std::atomic<uint32_t> generation; // of the last listener
    std::atomic<uint32_t> stuck;      // the listener that a writer has waited for in vain
    std::atomic<uint32_t> jammed;     // a writer has waited in vain for its turn
    std::atomic<uint32_t> filled;     // the listener in whose buffer stands a text to announce
    std::atomic<uint32_t> lost;       // texts that no listener took
    // Robust; which writer may use the buffer. Its bytes hold addresses of the process that has
    // it, and a process reads them back only while it is the one.
    pthread_mutex_t turn;
};

// The page, mapped at its first use. Null if there is no shared memory to be had. Takes the gate of
// shared objects at its first use only.
ChannelControl* channel_control();

// The page if it is mapped already: for those who are inside the gate.
ChannelControl* mapped_channel_control();

// A writer's turn at the channel, which no two threads of any process have at once. A writer that
// dies with it passes it on.
class ChannelTurn
{
public:
    // Waits for the turn, not beyond the patience; not at all if another has waited in vain.
    explicit ChannelTurn(ChannelControl& control);
    ChannelTurn(const ChannelTurn&) = delete;
    ChannelTurn& operator=(const ChannelTurn&) = delete;
    ~ChannelTurn();
    bool taken() const { return m_taken; }

private:
    ChannelControl& m_control;
    bool m_taken;
};

} // namespace platform

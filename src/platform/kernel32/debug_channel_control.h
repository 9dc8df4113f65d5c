// The control page of the debug string channel: what the writers of all of the user's processes
// share behind the protocol with a listener.
#pragma once

#include <atomic>
#include <cstdint>

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
    std::atomic<uint32_t> jammed;     // the turn that a writer has waited in vain to end
    std::atomic<uint32_t> filled;     // the listener in whose buffer stands a text to announce
    std::atomic<uint32_t> lost;       // texts that no listener took
    std::atomic<uint32_t> turn;       // which writer may use the buffer: see ChannelTurn
};

// The page, mapped at its first use. Null if there is no shared memory to be had. What stands in it
// may come from anybody: each word is only ever compared, counted or replaced, and a page that
// isn't one is made anew. Takes the gate of shared objects only if there is none yet, or if it
// doesn't tell of a listener that lives.
ChannelControl* channel_control();

// Gives a listener that came its number. Needs the gate.
void number_new_listener(ChannelControl& control);

// The page if it is mapped already: for those who are inside the gate.
ChannelControl* mapped_channel_control();

// A writer's turn at the channel, which no two threads of any process have at once.
//
// The word holds the thread's number (22 bits, as many as the kernel gives), a count that tells one
// turn of it from the next (9), and whether somebody waits (1). No lock of the C library: that one
// ends the process if it finds something else in its words. A turn is taken over from a thread that
// is no more, and from one that has had it for as long as another writer could wait: that one was
// stopped, or never was. It looks again whether the turn is still its own before it writes.
class ChannelTurn
{
public:
    // Waits for the turn, not beyond the patience.
    explicit ChannelTurn(ChannelControl& control);
    ChannelTurn(const ChannelTurn&) = delete;
    ChannelTurn& operator=(const ChannelTurn&) = delete;
    ~ChannelTurn();
    // Whether the turn is ours: another writer may have taken it over since.
    bool taken() const;

private:
    bool wait();

    ChannelControl& m_control;
    const uint32_t m_mine;
};

} // namespace platform

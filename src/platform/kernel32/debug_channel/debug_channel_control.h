// The control page of the debug string channel, shared by the writers of all of the user's
// processes in addition to the protocol with a listener.
#pragma once

#include <atomic>
#include <cstdint>

#include "kernel32/thread/turn.h"

namespace platform
{

int64_t
channel_patience(); // ns that a text may cost its writer: 500 ms, unless a test has changed it

// The page's file in the shared folder. Programs of several versions use one folder at the same
// time, so the name, and the page's mark, change with the layout.
inline constexpr char channel_page_name[] = "/channel-3";
inline constexpr uint32_t channel_page_mark = 0x33434450;

// The listener's first event. There is a listener while a process holds this event.
inline constexpr char debug_channel_listener_event[] = "DBWIN_BUFFER_READY";

struct ChannelControl
{
    std::atomic<uint32_t> magic;
    std::atomic<uint32_t> listener;   // number of the listener; 0: none
    std::atomic<uint32_t> generation; // number of the last listener
    std::atomic<uint32_t> stuck;      // the listener that a writer has waited for in vain
    std::atomic<uint32_t> jammed;     // the turn whose end a writer has waited for in vain
    std::atomic<uint32_t> filled;     // the listener whose buffer holds a text to announce
    std::atomic<uint32_t> lost;       // texts that no listener took
    std::atomic<uint32_t> turn;       // which writer may use the buffer: see ChannelTurn
};

// The page, mapped at its first use. Null without shared memory. Any process of the user can write
// its words, so each is only compared, counted or replaced, and a page without its mark is made
// anew. Takes the gate of shared objects only if there is no page yet, or if the page doesn't name
// the current listener.
ChannelControl* channel_control();

// For a process just forked: a thread that had the turn doesn't exist in it. True if none had it.
bool forget_own_turn();

// A writer's turn at the channel: among the threads of its process first, then among processes.
class ChannelTurn
{
public:
    // Waits for the turn, not beyond the deadline (ns, monotonic clock).
    ChannelTurn(ChannelControl& control, int64_t deadline);
    ChannelTurn(const ChannelTurn&) = delete;
    ChannelTurn& operator=(const ChannelTurn&) = delete;
    // Whether this writer has the turn. Another process may have taken it over since; another
    // thread of this process cannot have.
    bool taken() const { return m_own.taken() && m_shared.taken(); }
    uint32_t number() const { return m_shared.number(); } // above 1

private:
    const Turn m_own;
    const Turn m_shared;
};

} // namespace platform

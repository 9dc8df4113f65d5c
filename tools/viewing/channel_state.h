// How a viewer has access to the debug string channel, and the texts about that for its user.
#pragma once

#include <mutex>
#include <string>

namespace trace
{

enum class ChannelAccess
{
    holding,   // this viewer has the channel
    following, // another viewer has it, and passes its records on
    stalled,   // another viewer has it, but does not run
    waiting,   // another program has it
};

// May be used by several threads.
class ChannelState
{
public:
    // holder: the program that has the channel, for people: "plinth-trace (4711)". If it is this
    // viewer: why it can't pass the records on; empty if it can.
    void set(ChannelAccess access, const std::string& holder);
    // The program that has the channel and passes nothing on; empty if there is no such program.
    std::string shut_out_by() const;
    // What is watched: "the debug string channel, which plinth-trace (4711) has and passes on".
    std::string what() const;
    // What has changed since the last call; empty if nothing has.
    std::string take_news();

private:
    mutable std::mutex m_lock; // guards the members below
    ChannelAccess m_access = ChannelAccess::waiting;
    std::string m_holder;
    std::string m_news;
};

} // namespace trace

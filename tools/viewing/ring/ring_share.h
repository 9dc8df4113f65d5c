// What the viewer that has the channel does for the other viewers: it passes its records on.
#pragma once

#include <optional>
#include <string>

#include "record.h"
#include "ring_memory.h"
#include "ring_writer.h"
#include "take_over.h"

namespace trace
{

class RingFollower;

class RingShare
{
public:
    // Begins to write the ring where the follower has ended, or makes a new ring. Reports the gap
    // since the moment to its readers, if there was a former holder. False with the last error if
    // there is no memory; then nothing is passed on.
    bool start(const RingFollower& follower, Time since, const TakeOverWatcher& watcher);

    void put(const RecordView& record);
    void put_unheard(uint64_t count);
    // Signals to readers that this process runs, if a sign is due.
    void beat(Time now);
    void end();

private:
    RingMemory m_memory;
    std::optional<RingWriter> m_writer;
    Time m_last_beat = 0;
};

} // namespace trace

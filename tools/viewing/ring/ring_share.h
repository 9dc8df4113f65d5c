// What the viewer that has the channel does for the others: it passes its records on.
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
    // Begins to write the ring where the follower has ended, else anew, and tells its readers of
    // the gap since the moment, if there was a former holder. False if there is no memory to be
    // had, with the last error; then nothing is passed on.
    bool start(const RingFollower& follower, Time since, const TakeOverWatcher& watcher);

    void put(const RecordView& record);
    void put_unheard(uint64_t count);
    // Gives a sign that this process runs, if it is time to.
    void beat(Time now);
    void end();

private:
    RingMemory m_memory;
    std::optional<RingWriter> m_writer;
    Time m_last_beat = 0;
};

} // namespace trace

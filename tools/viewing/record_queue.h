// Records that wait between the thread that takes them from the channel and the one that shows
// them.
//
// The queue has a limited size, so that output that is slow, or stopped with Ctrl-S, holds up no
// program. When it is full, records are dropped and counted; the next one that has room comes
// behind the news of it. So do texts that the channel lost.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "record.h"

namespace trace
{

class RecordQueue
{
public:
    static constexpr size_t default_limit = 64 << 20; // bytes of texts and what belongs to each

    explicit RecordQueue(size_t limit = default_limit) : m_limit(limit) {}

    void put(Record record);
    // So many texts were given up by their writers before what is put next.
    void put_unheard(uint64_t count);

    // The next record, its text as the channel has it; false if none came in time.
    bool next(Record& record, unsigned milliseconds);

private:
    struct Losses
    {
        uint64_t full = 0;    // for want of room here
        uint64_t unheard = 0; // for want of a listener that runs

        uint64_t all() const { return full + unheard; }
    };
    static Record news_of(const Losses& lost);

    const size_t m_limit;
    std::mutex m_lock; // guards what follows
    std::condition_variable m_arrived;
    std::deque<Record> m_waiting;
    size_t m_bytes = 0;
    Losses m_lost; // since the last record that was kept
};

} // namespace trace

// Records that wait between the thread that takes them from the channel and the one that shows
// them.
//
// The queue has a limited size, so that output that is slow, or stopped with Ctrl-S, delays no
// program. When the queue is full, records are dropped and counted; a report of them is put before
// the next record that has room. The same is done for texts that the channel lost.
//
// Records wait packed in blocks. The reader takes all waiting blocks at once, and reads them
// without the lock.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "record_block.h"

namespace trace
{

class RecordQueue
{
public:
    static constexpr size_t default_limit = 48 << 20; // bytes of the texts and their overhead

    explicit RecordQueue(size_t limit = default_limit) : m_limit(limit) {}

    void put(const RecordView& record);
    // This number of texts was given up by their writers before the next one.
    void put_unheard(uint64_t count);

    // Whether so many percent of the limit are waiting, or more.
    bool is_filled_to(unsigned percent) const { return m_bytes >= m_limit / 100 * percent; }

    // The next record, its text as in the channel; false if none came in time. It is valid until
    // the next call. Only for one thread.
    bool next(RecordView& record, unsigned milliseconds);

private:
    using Clock = std::chrono::steady_clock;

    struct Losses
    {
        uint64_t full = 0;    // because the queue was full
        uint64_t unheard = 0; // because the listener didn't run

        uint64_t all() const { return full + unheard; }
    };
    static Record news_of(const Losses& lost);

    void append(const RecordView& record);
    RecordBlock new_block(const RecordView& record);
    bool take_all(unsigned milliseconds);
    bool wait(std::unique_lock<std::mutex>& lock, Clock::time_point end);
    void put_away(RecordBlock block);

    const size_t m_limit;
    std::atomic<size_t> m_bytes{0}; // of all blocks except the spare ones
    std::mutex m_lock;              // guards the members from here to m_lost
    std::condition_variable m_arrived;
    bool m_is_awaited = false;
    std::deque<RecordBlock> m_waiting;
    std::deque<RecordBlock> m_spare;
    Losses m_lost; // since the last record that was kept

    // Only used by the reader.
    std::deque<RecordBlock> m_taken;
    size_t m_next = 0; // index in the first block
    Clock::time_point m_busy_until{};
    std::optional<Record> m_news; // report of losses after which no record came
};

} // namespace trace

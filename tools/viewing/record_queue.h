// Records that wait between the thread that takes them from the channel and the one that shows
// them.
//
// The queue has a limited size, so that output that is slow, or stopped with Ctrl-S, holds up no
// program. When it is full, records are dropped and counted; the next one that has room comes after
// the news of it. So do texts that the channel lost.
//
// Records wait packed in blocks. The reader takes all that wait at once, and reads them without the
// lock.
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
    static constexpr size_t default_limit = 48 << 20; // bytes of texts and what belongs to each

    explicit RecordQueue(size_t limit = default_limit) : m_limit(limit) {}

    void put(const RecordView& record);
    // So many texts were given up by their writers before what is put next.
    void put_unheard(uint64_t count);

    // The next record, its text as the channel has it; false if none came in time. It is good until
    // the next call. For one thread.
    bool next(RecordView& record, unsigned milliseconds);

private:
    using Clock = std::chrono::steady_clock;

    struct Losses
    {
        uint64_t full = 0;    // for want of room here
        uint64_t unheard = 0; // for want of a listener that runs

        uint64_t all() const { return full + unheard; }
    };
    static Record news_of(const Losses& lost);

    void append(const RecordView& record);
    RecordBlock new_block(const RecordView& record);
    bool take_all(unsigned milliseconds);
    bool wait(std::unique_lock<std::mutex>& lock, Clock::time_point end);
    void put_away(RecordBlock block);

    const size_t m_limit;
    std::atomic<size_t> m_bytes{0}; // of all blocks but the spare ones
    std::mutex m_lock;              // guards what follows, up to the reader's
    std::condition_variable m_arrived;
    bool m_is_awaited = false;
    std::deque<RecordBlock> m_waiting;
    std::deque<RecordBlock> m_spare;
    Losses m_lost; // since the last record that was kept

    // The reader's.
    std::deque<RecordBlock> m_taken;
    size_t m_next = 0; // in the first block
    Clock::time_point m_busy_until{};
    std::optional<Record> m_news; // of losses after which no record came
};

} // namespace trace

// Follows the ring for a viewer that doesn't have the channel: records, and what is missing.
//
// Not for several threads.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "record.h"
#include "ring_memory.h"
#include "ring_reader.h"

namespace trace
{

class RingFollower
{
public:
    using Clock = std::chrono::steady_clock;

    // Makes or joins the shared memory, and joins the ring in it, if one is there, at what comes
    // next. False if there is no memory to be had, with the last error; it can be called again.
    bool open();
    void close();

    // The next record; false if none is there. A bounded number of calls returns true for what was
    // in the ring at the first of them.
    bool next(Record& record);

    // Texts that the holders have taken since this viewer joined, as they number them.
    uint64_t taken() const { return m_taken; }

    // Who writes the ring, if somebody says so.
    const RingHolder& holder() const { return m_holder; }
    // Looks for a sign of it.
    void look_for_holder(Clock::time_point now = Clock::now());
    // Whether there was one within some heartbeats, or else in the last two seconds.
    bool holder_beats(Clock::time_point now = Clock::now()) const;
    bool holder_runs(Clock::time_point now = Clock::now()) const;
    // When there was the last one, or the last record; unknown_time if there was none.
    Time last_sign() const { return m_last_sign; }

    // Where a new writer goes on: nothing if this follower has not joined, or not come to the end.
    std::optional<RingCursor> end() const;
    bool is_open() const { return m_reader != nullptr; }

private:
    bool is_joined();
    bool join_at_end();
    bool join_new_epoch(uint64_t epoch);
    void read();
    void keep(RingItem& item);
    std::shared_ptr<const std::string> shared_name(uint32_t process, std::string& name);

    RingMemory m_memory;
    std::unique_ptr<RingReader> m_reader;
    std::deque<Record> m_waiting;
    RingCursor m_last;          // where the reader stood when it was last sound
    uint64_t m_known_epoch = 0; // the ring's when this viewer came, then the one that it followed
    uint64_t m_other_epoch = 0; // one that has come since
    Clock::time_point m_other_seen{};
    uint64_t m_taken = 0;
    std::optional<Clock::time_point> m_broken_since;
    RingHolder m_holder;
    uint64_t m_heartbeat = 0;
    std::optional<Clock::time_point> m_beat_seen;
    bool m_has_ended = false; // the holder, by its own word
    Time m_last_sign = unknown_time;
    std::unordered_map<uint32_t, std::shared_ptr<const std::string>> m_names;
};

} // namespace trace

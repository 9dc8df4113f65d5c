// Follows the ring for a viewer that doesn't have the channel: returns records and reports of
// missing ones.
//
// Not for several threads at once.
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

    // Makes or joins the shared memory, and joins the ring in it, if there is one, at its end.
    // False with the last error if there is no memory; it can be called again.
    bool open();
    void close();

    // The next record; false if there is none. After the first call, a limited number of calls
    // returns all that was in the ring then.
    bool next(Record& record);

    // The number of texts that the holders have taken since this viewer joined, by their own count.
    uint64_t taken() const { return m_taken; }

    // Who writes the ring, if known.
    const RingHolder& holder() const { return m_holder; }
    // Looks for a sign of the holder.
    void look_for_holder(Clock::time_point now = Clock::now());
    // Whether there was a sign within some heartbeats (holder_beats), or within the last two
    // seconds (holder_runs).
    bool holder_beats(Clock::time_point now = Clock::now()) const;
    bool holder_runs(Clock::time_point now = Clock::now()) const;
    // The time of the last sign, or of the last record; unknown_time if there was none.
    Time last_sign() const { return m_last_sign; }

    // Where a new writer continues: nothing if this follower has not joined, or has not reached the
    // end.
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
    RingCursor m_last;          // the reader's last valid place
    uint64_t m_known_epoch = 0; // the ring's at the start, then the one followed
    uint64_t m_other_epoch = 0; // a different epoch that was seen since
    Clock::time_point m_other_seen{};
    uint64_t m_taken = 0;
    std::optional<Clock::time_point> m_broken_since;
    RingHolder m_holder;
    uint64_t m_heartbeat = 0;
    std::optional<Clock::time_point> m_beat_seen;
    bool m_has_ended = false; // the holder, as it reported itself
    Time m_last_sign = unknown_time;
    std::unordered_map<uint32_t, std::shared_ptr<const std::string>> m_names;
};

} // namespace trace

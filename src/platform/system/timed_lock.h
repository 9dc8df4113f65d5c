// File locks between processes, with limited waits.
#pragma once

#include <cstdint>
#include <optional>

#include <fcntl.h>

namespace platform
{

// How long making or removing a name waits for another process, and how long a change of the
// registry does. Both locks are held for well under a millisecond: a process that holds one longer
// was stopped.
inline constexpr int64_t gate_patience = 1'000'000'000; // ns
inline constexpr int64_t change_patience = 5'000'000'000;

// Waits for another process in growing pauses, until a limit on the monotonic clock.
class Patience
{
public:
    explicit Patience(int64_t limit) : m_limit(limit) {} // nanoseconds from the first pause on
    // Waits a little. False, at once, when the limit is reached.
    bool pause();
    // For another wait: short pauses again, until this limit, counted from the same first pause.
    void go_on(int64_t limit);

private:
    int64_t m_limit;
    std::optional<int64_t> m_start;
    int64_t m_pause = 0;
};

// Takes a write lock of the open file description on a range, and stops trying after so many
// nanoseconds on the monotonic clock. 0 or an errno: ETIMEDOUT when it gave up. Until unlock, a
// forked child closes its copy of the descriptor at once: otherwise it would keep the lock if its
// parent were killed.
int lock_within(int64_t limit, int fd, off_t first, off_t count);

// The same for the first byte of a file that some processes change again and again. Each one locks
// the second byte while it waits, so a process that has just released the lock must first wait for
// that byte. Without the second byte it could take the lock again before the waiter's next attempt,
// for seconds. A process that doesn't get the second byte soon, because a stopped one has it,
// continues without it. The limit is for both bytes together.
int lock_in_turn(int64_t limit, int fd);

// Releases a lock. Closing is not enough: a process that another thread has just started has the
// same open file.
void unlock(int fd, off_t first, off_t count);

} // namespace platform

// Waiting for several objects.
//
// The thread sleeps on the words of all objects at once. A signal may wake a sleeper that doesn't
// take it: a wait for all that still lacks another object, or a wait for one that finds two
// signals. Such a thread then wakes the next one.
//
// A wait for all takes nothing before all objects are signalled. Then it reserves them in turn; if
// another thread takes one of them first, it releases the others.
#include "waitable.h"

#include <algorithm>
#include <array>

#include "event_state.h"
#include "kernel32/thread/no_termination.h"
#include "system/calls.h"
#include "system/clock.h"
#include "windows.h"

namespace platform
{

namespace
{

struct Objects
{
    Waitable* const* first;
    size_t count;
    Waitable* const* begin() const { return first; }
    Waitable* const* end() const { return first + count; }
};

// If the kernel can't wait for several words (before 5.16, or a filter forbids it), a thread sleeps
// on one of them and checks the others after this time.
constexpr int64_t longest_sleep_on_one = 1'000'000; // ns

void sleep_on_one(const WaitWord& word, int64_t deadline, bool is_only)
{
    const int64_t soon = monotonic_ns() + longest_sleep_on_one;
    const int64_t until = is_only ? deadline : deadline < 0 ? soon : std::min(deadline, soon);
    futex_wait(word.address, word.value, until, word.shared);
}

void sleep_on(const WaitWord* words, size_t count, int64_t deadline)
{
    if (count == 1)
    {
        sleep_on_one(*words, deadline, true);
        return;
    }
    std::array<futex_waitv, MAXIMUM_WAIT_OBJECTS> waits = {};
    for (size_t i = 0; i < count; ++i)
    {
        waits[i].uaddr = reinterpret_cast<uintptr_t>(words[i].address);
        waits[i].val = words[i].value;
        waits[i].flags = FUTEX_32 | (words[i].shared ? 0u : unsigned{FUTEX_PRIVATE_FLAG});
    }
    constexpr int64_t second = 1'000'000'000; // ns
    const timespec until = {deadline / second, deadline % second};
    if (sys::futex_waitv(waits.data(), static_cast<unsigned>(count),
                         deadline >= 0 ? &until : nullptr) < 0 &&
        errno != EAGAIN && errno != EINTR && errno != ETIMEDOUT)
        sleep_on_one(*words, deadline, false);
}

// Counts a thread among the sleepers of each object.
class Entered
{
public:
    explicit Entered(const Objects& objects) : m_objects(objects) {}
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;
    ~Entered()
    {
        if (m_entered)
            for (Waitable* const each : m_objects)
                each->leave();
    }
    void enter()
    {
        for (Waitable* const each : m_objects)
            if (!m_entered)
                each->enter();
        m_entered = true;
    }

private:
    const Objects& m_objects;
    bool m_entered = false;
};

// take: returns the result if the wait has what it waits for, else WAIT_TIMEOUT. for_all: a signal
// of one object alone is no reason to check again.
template <class Take>
DWORD wait_until_taken(const Objects& objects, DWORD milliseconds, bool for_all, Take take)
{
    const int64_t deadline = milliseconds == 0 ? 0 : deadline_after(milliseconds);
    Entered sleeper(objects);
    for (bool has_slept = false;; has_slept = true)
    {
        const DWORD result = take();
        if (has_slept)
            for (Waitable* const each : objects)
                each->pass_on();
        if (result != WAIT_TIMEOUT || milliseconds == 0 ||
            (deadline >= 0 && monotonic_ns() >= deadline))
            return result;
        sleeper.enter();
        std::array<WaitWord, MAXIMUM_WAIT_OBJECTS> words;
        size_t unsignalled = 0;
        for (Waitable* const each : objects)
            unsignalled += each->unsignalled(words[unsignalled]);
        if (unsignalled == objects.count || (for_all && unsignalled != 0))
            sleep_on(words.data(), unsignalled, deadline);
    }
}

bool take_all(const Objects& objects, uint32_t token)
{
    WaitWord word;
    for (Waitable* const each : objects)
        if (each->unsignalled(word))
            return false;
    const NoTermination no_termination; // else a terminated thread would lose a reserved signal
    size_t reserved = 0;
    while (reserved < objects.count && objects.first[reserved]->reserve(token))
        ++reserved;
    const bool has_all = reserved == objects.count;
    for (size_t i = 0; i < reserved; ++i)
        has_all ? objects.first[i]->keep(token) : objects.first[i]->give_back(token);
    return has_all;
}

} // namespace

DWORD wait_for_one(Waitable* const* first, size_t count, DWORD milliseconds)
{
    const Objects objects = {first, count};
    return wait_until_taken(objects, milliseconds, false,
                            [&]
                            {
                                for (DWORD i = 0; i < objects.count; ++i)
                                    if (objects.first[i]->try_take())
                                        return WAIT_OBJECT_0 + i;
                                return WAIT_TIMEOUT;
                            });
}

DWORD wait_for_all(Waitable* const* first, size_t count, DWORD milliseconds)
{
    const Objects objects = {first, count};
    // Odd and above 1, so that it is neither a signal nor a number of the debug string channel.
    const uint32_t token = GetCurrentThreadId() << 1 | 1;
    return wait_until_taken(objects, milliseconds, true,
                            [&]
                            { return take_all(objects, token) ? WAIT_OBJECT_0 : WAIT_TIMEOUT; });
}

} // namespace platform

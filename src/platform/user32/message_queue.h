// The message queue of a thread, and its message timers.
//
// What comes out of a queue comes in this order: posted messages as they came, then WM_QUIT after
// PostQuitMessage, then WM_TIMER. The last is never stored: it is made when a message is asked for,
// a timer is due and nothing else is there, so a thread that is late gets one for each timer,
// however many periods have passed.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "windows.h"

namespace platform
{

struct MessageFilter
{
    UINT first = 0;
    UINT last = 0; // with a first of 0: all messages

    bool takes(UINT message) const
    {
        return (first == 0 && last == 0) || (message >= first && message <= last);
    }
};

// The timers of one thread, which alone touches them. Moments are nanoseconds on the monotonic
// clock.
class MessageTimers
{
public:
    // Makes the timer or starts it anew. An id of 0 for a new one. May throw std::bad_alloc.
    UINT_PTR set(UINT_PTR id, UINT milliseconds, TIMERPROC procedure);
    bool kill(UINT_PTR id) { return m_timers.erase(id) != 0; }
    // The message of the timer that has been due for the longest; false if none is. With remove the
    // timer goes on to its next moment to come.
    bool take(MSG& message, int64_t now, bool remove);
    // When the next timer is due; -1 without timers.
    int64_t next_due() const;

private:
    struct Timer
    {
        int64_t due;
        int64_t period;
        TIMERPROC procedure;
    };
    using Timers = std::map<UINT_PTR, Timer>;

    Timers::const_iterator earliest() const;

    Timers m_timers;
};

class MessageQueue
{
public:
    // The calling thread's queue, made at the first call and gone with the thread. Null with the
    // last error set if there is no memory for it.
    static MessageQueue* own();
    // That of a thread, null if it has none.
    static std::shared_ptr<MessageQueue> of_thread(DWORD thread);

    // Any thread may call this one. False with the last error set.
    bool post(const MSG& message);

    // The thread of the queue alone calls the rest.
    void post_quit(int exit_code);
    bool take(MSG& message, const MessageFilter& filter, bool remove);
    // Takes a message out, waiting for it as long as it takes.
    void wait(MSG& message, const MessageFilter& filter);
    MessageTimers& timers() { return m_timers; }

private:
    bool take_posted(MSG& message, const MessageFilter& filter, bool remove);

    std::mutex m_lock; // guards m_posted; nothing else is locked with it
    std::deque<MSG> m_posted;
    std::atomic<uint32_t> m_posts{0}; // futex word: changes with each message that is posted
    bool m_quit = false;
    int m_exit_code = 0;
    MessageTimers m_timers;
};

} // namespace platform

// The message queue of a thread, and its message timers.
//
// Sent messages never come out: they are handled within the call that asks for a message, before
// anything else, and while the thread itself waits for an answer; whatever the filter is. What
// comes out of a queue comes in this order: posted messages as they came, then WM_QUIT after
// PostQuitMessage, then WM_TIMER. The last is never stored: it is made when a message is asked for,
// a timer is due and nothing else is there, so a thread that is late gets one for each timer,
// however many periods have passed.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "parcel.h"
#include "windows.h"

namespace platform
{

struct MessageFilter
{
    UINT first = 0;
    UINT last = 0;         // with a first of 0: all messages
    HWND window = nullptr; // its messages and those of its children; null: all

    static inline const HWND no_window = reinterpret_cast<HWND>(LONG_PTR{-1}); // those without one

    bool takes(const MSG& message) const { return takes(message.message) && takes(message.hwnd); }
    bool takes(HWND of) const;
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
    // Makes the timer or starts it anew. Without a window an id that is none of a timer gets a new
    // one. May throw std::bad_alloc.
    UINT_PTR set(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure);
    bool kill(HWND window, UINT_PTR id);
    void kill_all(HWND window);
    // The message of the timer that has been due for the longest; false if none is. With remove the
    // timer goes on to its next moment to come.
    bool take(MSG& message, const MessageFilter& filter, int64_t now, bool remove);
    // When the next timer that the filter takes is due; -1 without one.
    int64_t next_due(const MessageFilter& filter) const;

private:
    struct Timer
    {
        int64_t due;
        int64_t period;
        TIMERPROC procedure;
    };
    using Key = std::pair<HWND, UINT_PTR>;
    using Timers = std::map<Key, Timer>;
    using Moments = std::set<std::pair<int64_t, Key>>; // when, and which timer

    void move_on(const Timers::iterator& timer, int64_t due);
    Moments::const_iterator earliest(const MessageFilter& filter) const;

    Timers m_timers;
    Moments m_moments; // one for each timer: a pump with many looks at no more than the first
};

class MessageQueue;

// A message on its way to a window of another thread, held by the sender and by the receiver's
// queue. The receiver gives the result, then the state, then wakes the sender.
struct SentMessage
{
    enum class Kind
    {
        message,
        show,   // ShowWindowAsync: wParam is the command
        destroy // of a window whose owner goes
    };
    enum State : uint32_t
    {
        waiting,
        handled,
        failed // the window or its thread was gone
    };

    Kind kind = Kind::message;
    HWND window = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    std::shared_ptr<MessageQueue> sender; // null: nobody waits
    std::unique_ptr<Parcel> parcel;
    LRESULT result = 0;
    std::atomic<uint32_t> state{waiting};

    void finish(State end);
};

class MessageQueue : public std::enable_shared_from_this<MessageQueue>
{
public:
    // The calling thread's queue, made at the first call and gone with the thread. Null with the
    // last error set if there is no memory for it.
    static MessageQueue* own();
    // The same, null if the thread has none so far.
    static MessageQueue* existing();
    // That of a thread, null if it has none.
    static std::shared_ptr<MessageQueue> of_thread(DWORD thread);

    // Any thread may call these. False with the last error set.
    bool post(const MSG& message);
    bool send(const std::shared_ptr<SentMessage>& message);
    // Ends a wait of the thread, which looks again.
    void wake();
    // The thread has ended: what was sent fails, and nothing more comes in.
    void close();

    // The thread of the queue alone calls the rest.
    void post_quit(int exit_code);
    bool take(MSG& message, const MessageFilter& filter, bool remove);
    // Takes a message out, waiting for it as long as it takes.
    void wait(MSG& message, const MessageFilter& filter);
    MessageTimers& timers() { return m_timers; }
    // Handles the oldest message that was sent; false if there is none.
    bool handle_sent();
    // Waits for the answer up to the moment (monotonic, in nanoseconds; -1: for ever), handling
    // what is sent meanwhile if asked to. False if there is none by then.
    bool wait_for_answer(const SentMessage& message, int64_t deadline, bool handles);
    // Drops what was posted to a window that is gone, and its timers.
    void forget_window(HWND window);

private:
    bool take_posted(MSG& message, const MessageFilter& filter, bool remove);

    friend struct QueuesAtFork;

    std::mutex m_lock; // guards the next four; the WindowLock may be taken under it
    std::deque<MSG> m_posted;
    std::list<std::shared_ptr<SentMessage>> m_sent;
    std::list<std::shared_ptr<SentMessage>> m_handling; // the innermost last
    bool m_closed = false;
    std::atomic<uint32_t> m_posts{0}; // futex word: changes with whatever the thread should look at
    bool m_quit = false;
    int m_exit_code = 0;
    MessageTimers m_timers;
};

} // namespace platform

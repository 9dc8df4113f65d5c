// The message queue of a thread, and its message timers.
//
// Sent messages are never returned: they are handled within the call that asks for a message,
// before anything else, and while the thread itself waits for an answer, regardless of the filter.
// A queue returns posted messages in their order, then WM_QUIT after PostQuitMessage, then
// WM_TIMER. WM_TIMER is never stored: it is made when a message is asked for, a timer is due and
// there is no other message, so a thread that is late gets one for each timer, however many periods
// have passed.
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
    UINT last = 0;         // if first is 0: all messages
    HWND window = nullptr; // messages for it and its children; null: all

    static inline const HWND no_window = reinterpret_cast<HWND>(LONG_PTR{-1}); // without a window

    bool takes(const MSG& message) const { return takes(message.message) && takes(message.hwnd); }
    bool takes(HWND of) const;
    bool takes(UINT message) const
    {
        return (first == 0 && last == 0) || (message >= first && message <= last);
    }
};

// The timers of one thread; no other thread uses them. Moments are nanoseconds on the monotonic
// clock.
class MessageTimers
{
public:
    // Makes the timer or restarts it. Without a window, an id that no timer has is replaced by a
    // new one. May throw std::bad_alloc.
    UINT_PTR set(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure);
    bool kill(HWND window, UINT_PTR id);
    void kill_all(HWND window);
    // The message of the timer that has been due for the longest; false if none is due. With remove
    // the timer moves to its next future moment.
    bool take(MSG& message, const MessageFilter& filter, int64_t now, bool remove);
    // When the next timer that passes the filter is due; -1 without one.
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
    Moments m_moments; // one for each timer: a loop with many timers only reads the first
};

class MessageQueue;

// A message to a window of another thread, held by the sender and by the receiver's queue. The
// receiver sets the result, then the state, then wakes the sender.
struct SentMessage
{
    enum class Kind
    {
        message,
        show,   // ShowWindowAsync: wParam is the command
        destroy // for a window whose owner is destroyed
    };
    enum State : uint32_t
    {
        waiting,
        handled,
        failed // the window or its thread no longer existed
    };

    Kind kind = Kind::message;
    HWND window = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    std::shared_ptr<MessageQueue> sender; // null: no thread waits
    std::unique_ptr<Parcel> parcel;
    LRESULT result = 0;
    std::atomic<uint32_t> state{waiting};

    void finish(State end);
};

class MessageQueue : public std::enable_shared_from_this<MessageQueue>
{
public:
    // The calling thread's queue, made at the first call and destroyed with the thread. Null with
    // the last error set if there is no memory for it.
    static MessageQueue* own();
    // The same, null if the thread has none yet.
    static MessageQueue* existing();
    // The queue of a thread, null if it has none.
    static std::shared_ptr<MessageQueue> of_thread(DWORD thread);

    // Any thread may call these. False with the last error set.
    bool post(const MSG& message);
    bool send(const std::shared_ptr<SentMessage>& message);
    // Ends a wait of the thread, which then checks its queue again.
    void wake();
    // The thread has ended: messages sent to it fail, and no more are accepted.
    void close();

    // Only the queue's own thread calls the rest.
    void post_quit(int exit_code);
    bool take(MSG& message, const MessageFilter& filter, bool remove);
    // Removes a message, waiting for one without a limit.
    void wait(MSG& message, const MessageFilter& filter);
    MessageTimers& timers() { return m_timers; }
    // Handles the oldest sent message; false if there is none.
    bool handle_sent();
    // Waits for the answer up to the moment (monotonic, in nanoseconds; -1: for ever). handles:
    // handles sent messages meanwhile. False if there is no answer by then.
    bool wait_for_answer(const SentMessage& message, int64_t deadline, bool handles);
    // Drops messages posted to a destroyed window, and its timers.
    void forget_window(HWND window);

private:
    bool take_posted(MSG& message, const MessageFilter& filter, bool remove);

    friend struct QueuesAtFork;

    std::mutex m_lock; // guards the next four; the WindowLock may be taken under it
    std::deque<MSG> m_posted;
    std::list<std::shared_ptr<SentMessage>> m_sent;
    std::list<std::shared_ptr<SentMessage>> m_handling; // the innermost last
    bool m_closed = false;
    std::atomic<uint32_t> m_posts{0}; // futex word: changed by each event for the thread to check
    bool m_quit = false;
    int m_exit_code = 0;
    MessageTimers m_timers;
};

} // namespace platform

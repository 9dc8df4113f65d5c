// Message queues: posting, taking out, waiting, and the calls of the pump.
#include "message_queue.h"

#include <algorithm>
#include <new>

#include "kernel32/event_state.h"
#include "system/clock.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr size_t most_posted = 10'000; // messages, as on the system

// The queues of all threads, so that others can post to them. Never destroyed: threads run until
// the very end of the process.
struct Registry
{
    std::mutex lock; // guards queues; nothing else is locked with it
    std::map<DWORD, std::shared_ptr<MessageQueue>> queues;
};

Registry& registry()
{
    static Registry& only = *new Registry;
    return only;
}

thread_local MessageQueue* t_queue = nullptr;

// Takes the thread's queue along when the thread ends. One that is terminated leaves its queue to
// the next thread with its number, which puts its own in the place.
struct Removal
{
    ~Removal()
    {
        t_queue = nullptr;
        std::shared_ptr<MessageQueue> gone; // freed outside the lock
        const std::lock_guard guard(registry().lock);
        const auto found = registry().queues.find(GetCurrentThreadId());
        if (found == registry().queues.end())
            return;
        gone = std::move(found->second);
        registry().queues.erase(found);
    }
};

void make_own()
{
    auto queue = std::make_shared<MessageQueue>();
    MessageQueue* const made = queue.get();
    {
        const std::lock_guard guard(registry().lock);
        registry().queues.insert_or_assign(GetCurrentThreadId(), std::move(queue));
    }
    t_queue = made;
    static thread_local const Removal removal;
    static_cast<void>(removal);
}

// Threads have no windows as yet: null and -1 are the two ways to ask for the thread's messages.
bool is_thread_filter(HWND window)
{
    return !window || window == reinterpret_cast<HWND>(LONG_PTR{-1});
}

} // namespace

namespace platform
{

MessageQueue* MessageQueue::own()
{
    if (t_queue) [[likely]]
        return t_queue;
    try
    {
        make_own();
    }
    catch (const std::bad_alloc&)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
    }
    return t_queue;
}

std::shared_ptr<MessageQueue> MessageQueue::of_thread(DWORD thread)
{
    const std::lock_guard guard(registry().lock);
    const auto found = registry().queues.find(thread);
    return found == registry().queues.end() ? nullptr : found->second;
}

bool MessageQueue::post(const MSG& message)
{
    {
        const std::lock_guard guard(m_lock);
        if (m_posted.size() >= most_posted)
            return fail_with(ERROR_NOT_ENOUGH_QUOTA);
        try
        {
            m_posted.push_back(message);
        }
        catch (const std::bad_alloc&)
        {
            return fail_with(ERROR_NOT_ENOUGH_MEMORY);
        }
        m_posts.fetch_add(1, std::memory_order_release);
    }
    futex_wake(&m_posts, 1, false);
    return true;
}

void MessageQueue::post_quit(int exit_code)
{
    m_quit = true;
    m_exit_code = exit_code;
}

bool MessageQueue::take_posted(MSG& message, const MessageFilter& filter, bool remove)
{
    const std::lock_guard guard(m_lock);
    const auto found = std::find_if(m_posted.begin(), m_posted.end(),
                                    [&](const MSG& each) { return filter.takes(each.message); });
    if (found == m_posted.end())
        return false;
    message = *found;
    if (remove)
        m_posted.erase(found);
    return true;
}

bool MessageQueue::take(MSG& message, const MessageFilter& filter, bool remove)
{
    if (take_posted(message, filter, remove))
        return true;
    if (m_quit) // whatever the filter says
    {
        message = {};
        message.message = WM_QUIT;
        message.wParam = static_cast<WPARAM>(m_exit_code);
        message.time = millisecond_tick();
        m_quit = !remove;
        return true;
    }
    return filter.takes(WM_TIMER) && m_timers.take(message, monotonic_ns(), remove);
}

void MessageQueue::wait(MSG& message, const MessageFilter& filter)
{
    ask_for_fine_timers();
    for (;;)
    {
        // Read before the look: what is posted after it ends the wait at once.
        const uint32_t posts = m_posts.load(std::memory_order_acquire);
        if (take(message, filter, true))
            return;
        futex_wait(&m_posts, posts, filter.takes(WM_TIMER) ? m_timers.next_due() : -1, false);
    }
}

} // namespace platform

extern "C" BOOL GetMessageW(LPMSG message, HWND window, UINT first, UINT last)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return -1;
    if (!message || !is_thread_filter(window))
    {
        fail_with(message ? ERROR_INVALID_WINDOW_HANDLE : ERROR_NOACCESS);
        return -1;
    }
    queue->wait(*message, {first, last});
    return message->message != WM_QUIT;
}

extern "C" BOOL PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT remove)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return FALSE;
    if (!message || !is_thread_filter(window))
        return fail_with(message ? ERROR_INVALID_WINDOW_HANDLE : ERROR_NOACCESS);
    return queue->take(*message, {first, last}, (remove & PM_REMOVE) != 0);
}

// Makes characters out of keys, and there are no keys.
extern "C" BOOL TranslateMessage(const MSG*)
{
    return FALSE;
}

// A message without a window and without a procedure goes nowhere.
extern "C" LRESULT DispatchMessageW(const MSG* message)
{
    if (message && message->message == WM_TIMER && message->lParam != 0)
        reinterpret_cast<TIMERPROC>(message->lParam)(message->hwnd, WM_TIMER, message->wParam,
                                                     millisecond_tick());
    return 0;
}

extern "C" BOOL PostThreadMessageW(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
{
    const std::shared_ptr<MessageQueue> queue = MessageQueue::of_thread(thread);
    if (!queue)
        return fail_with(ERROR_INVALID_THREAD_ID);
    MSG posted = {};
    posted.message = message;
    posted.wParam = wParam;
    posted.lParam = lParam;
    posted.time = millisecond_tick();
    return queue->post(posted);
}

extern "C" void PostQuitMessage(int exitCode)
{
    if (MessageQueue* const queue = MessageQueue::own())
        queue->post_quit(exitCode);
}

// Message queues: posting, sending, removing, waiting, and the calls of the message loop.
#include "message_queue.h"

#include <algorithm>
#include <new>

#include "desktop.h"
#include "kernel32/object/event_state.h"
#include "kernel32/thread/no_termination.h"
#include "kernel32/thread/thread.h"
#include "system/clock.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"
#include "window_table.h"

using namespace platform;

namespace
{

constexpr size_t most_posted = 10'000; // messages, as on the system

// The queues of all threads, so that other threads can post to them. Never destroyed: threads run
// until the very end of the process.
struct Registry
{
    std::mutex lock; // guards queues; no other lock is taken while it is held
    std::map<DWORD, std::shared_ptr<MessageQueue>> queues;
};

Registry& registry()
{
    static Immortal<Registry> only;
    return *only;
}

thread_local MessageQueue* t_queue = nullptr;

using Lock = Uninterrupted<std::mutex>;

// Removes all windows of a thread that ends, without a message.
void drop_windows_of(DWORD thread)
{
    std::vector<std::unique_ptr<Window>> gone; // freed outside the lock
    {
        const WindowLock lock;
        gone = take_windows_of(thread);
    }
    for (const std::unique_ptr<Window>& each : gone)
        tell_desktop_destroyed(each->handle);
}

// Removes a thread's windows and queue when it ends. Also called for a terminated thread, which
// can't do so itself.
void forget_thread(DWORD thread)
{
    // Otherwise a termination that waited for the lock could come before the windows are removed.
    const NoTermination whole;
    std::shared_ptr<MessageQueue> gone; // freed outside the lock
    {
        const Lock guard(registry().lock);
        const auto found = registry().queues.find(thread);
        if (found == registry().queues.end())
            return;
        gone = std::move(found->second);
        registry().queues.erase(found);
    }
    drop_windows_of(thread);
    gone->close();
}

struct Removal
{
    ~Removal()
    {
        t_queue = nullptr;
        forget_thread(GetCurrentThreadId());
    }
};

void make_own()
{
    auto queue = std::make_shared<MessageQueue>();
    MessageQueue* const made = queue.get();
    {
        const Lock guard(registry().lock);
        registry().queues.insert_or_assign(GetCurrentThreadId(), std::move(queue));
    }
    set_termination_cleaner(forget_thread);
    t_queue = made;
    static thread_local const Removal removal;
    static_cast<void>(removal);
}

} // namespace

namespace platform
{

// A child has the queue of the forking thread, with its posted messages and timers.
struct QueuesAtFork
{
    static void take()
    {
        registry().lock.lock();
        if (t_queue)
            t_queue->m_lock.lock();
    }
    static void release()
    {
        if (t_queue)
            t_queue->m_lock.unlock();
        registry().lock.unlock();
    }
    static void keep_own()
    try
    {
        auto queues = std::make_unique<std::map<DWORD, std::shared_ptr<MessageQueue>>>();
        queues->swap(registry().queues);
        for (const auto& [thread, queue] : *queues)
            if (queue.get() == t_queue)
                registry().queues.emplace(GetCurrentThreadId(), queue);
        leave_to_parent(queues.release());
    }
    catch (const std::bad_alloc&)
    {
        // The queues of the parent's other threads stay: messages posted to them are lost.
    }
};

} // namespace platform

namespace
{

const AtFork g_at_fork(ForkStep::message_queues,
                       {QueuesAtFork::take, QueuesAtFork::release, QueuesAtFork::keep_own});

// If a filter names a window, that window must exist.
bool is_good_filter(HWND window)
{
    return !window || window == MessageFilter::no_window || IsWindow(window);
}

} // namespace

namespace platform
{

bool MessageFilter::takes(HWND of) const
{
    if (!window || of == window)
        return true;
    if (window == no_window || !of)
        return !of && window == no_window;
    const WindowLock lock;
    return is_descendant(of, window);
}

void SentMessage::finish(State end)
{
    // Once the state is set the sender may destroy this message.
    const std::shared_ptr<MessageQueue> waiter = std::move(sender);
    state.store(end, std::memory_order_release);
    if (waiter)
        waiter->wake();
}

MessageQueue* MessageQueue::own()
{
    if (t_queue) [[likely]]
        return t_queue;
    try
    {
        make_own();
    }
    catch (const std::exception& exception)
    {
        failed_by(exception, FALSE);
    }
    return t_queue;
}

MessageQueue* MessageQueue::existing()
{
    return t_queue;
}

std::shared_ptr<MessageQueue> MessageQueue::of_thread(DWORD thread)
{
    const Lock guard(registry().lock);
    const auto found = registry().queues.find(thread);
    return found == registry().queues.end() ? nullptr : found->second;
}

bool MessageQueue::post(const MSG& message)
{
    {
        const Lock guard(m_lock);
        if (m_closed)
            return fail_with(ERROR_INVALID_THREAD_ID);
        if (m_posted.size() >= most_posted)
            return fail_with(ERROR_NOT_ENOUGH_QUOTA);
        try
        {
            m_posted.push_back(message);
        }
        catch (const std::exception& exception)
        {
            return failed_by(exception, FALSE);
        }
    }
    wake();
    return true;
}

bool MessageQueue::send(const std::shared_ptr<SentMessage>& message)
{
    {
        const Lock guard(m_lock);
        if (m_closed)
            return fail_with(ERROR_INVALID_WINDOW_HANDLE);
        try
        {
            m_sent.push_back(message);
        }
        catch (const std::exception& exception)
        {
            return failed_by(exception, FALSE);
        }
    }
    wake();
    return true;
}

void MessageQueue::wake()
{
    m_posts.fetch_add(1, std::memory_order_release);
    futex_wake(&m_posts, 1, false);
}

void MessageQueue::close()
{
    std::list<std::shared_ptr<SentMessage>> sent;
    {
        const Lock guard(m_lock);
        m_closed = true;
        sent.swap(m_sent);
        sent.splice(sent.end(), m_handling);
    }
    for (const std::shared_ptr<SentMessage>& each : sent)
        each->finish(SentMessage::failed);
}

void MessageQueue::forget_window(HWND window)
{
    m_timers.kill_all(window);
    const Lock guard(m_lock);
    std::erase_if(m_posted, [window](const MSG& each) { return each.hwnd == window; });
}

void MessageQueue::post_quit(int exit_code)
{
    m_quit = true;
    m_exit_code = exit_code;
}

bool MessageQueue::take_posted(MSG& message, const MessageFilter& filter, bool remove)
{
    const Lock guard(m_lock);
    const auto found = std::find_if(m_posted.begin(), m_posted.end(),
                                    [&](const MSG& each) { return filter.takes(each); });
    if (found == m_posted.end())
        return false;
    message = *found;
    if (remove)
        m_posted.erase(found);
    return true;
}

bool MessageQueue::take(MSG& message, const MessageFilter& filter, bool remove)
{
    while (handle_sent())
    {
    }
    if (take_posted(message, filter, remove))
        return true;
    if (m_quit) // regardless of the filter
    {
        message = {};
        message.message = WM_QUIT;
        message.wParam = static_cast<WPARAM>(m_exit_code);
        message.time = millisecond_tick();
        m_quit = !remove;
        return true;
    }
    return m_timers.take(message, filter, monotonic_ns(), remove);
}

void MessageQueue::wait(MSG& message, const MessageFilter& filter)
{
    ask_for_fine_timers();
    for (;;)
    {
        // Read before the search: a message posted after it ends the wait at once.
        const uint32_t posts = m_posts.load(std::memory_order_acquire);
        if (take(message, filter, true))
            return;
        futex_wait(&m_posts, posts, m_timers.next_due(filter), false);
    }
}

} // namespace platform

extern "C" BOOL GetMessageW(LPMSG message, HWND window, UINT first, UINT last)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return -1;
    if (!message || !is_good_filter(window))
    {
        fail_with(message ? ERROR_INVALID_WINDOW_HANDLE : ERROR_NOACCESS);
        return -1;
    }
    queue->wait(*message, {first, last, window});
    return message->message != WM_QUIT;
}

extern "C" BOOL PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT remove)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return FALSE;
    if (!message || !is_good_filter(window))
        return fail_with(message ? ERROR_INVALID_WINDOW_HANDLE : ERROR_NOACCESS);
    return queue->take(*message, {first, last, window}, (remove & PM_REMOVE) != 0);
}

// Makes characters from key messages; there are no key messages here.
extern "C" BOOL TranslateMessage(const MSG*)
{
    return FALSE;
}

// A message without a window and without a procedure is dropped, and so is one to a window of
// another thread.
extern "C" LRESULT DispatchMessageW(const MSG* message)
{
    if (message && message->message == WM_TIMER && message->lParam != 0)
        reinterpret_cast<TIMERPROC>(message->lParam)(message->hwnd, WM_TIMER, message->wParam,
                                                     millisecond_tick());
    else if (message && message->hwnd &&
             GetWindowThreadProcessId(message->hwnd, nullptr) == GetCurrentThreadId())
        return call_procedure(message->hwnd, message->message, message->wParam, message->lParam);
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

extern "C" void PostQuitMessage(int exit_code)
{
    if (MessageQueue* const queue = MessageQueue::own())
        queue->post_quit(exit_code);
}

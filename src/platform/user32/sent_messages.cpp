// Sending between threads.
//
// A sender waits on the word of its own queue, not on the message: so it can handle messages sent
// to it meanwhile, and two threads that send to each other both continue.
#include <new>

#include "kernel32/object/event_state.h"
#include "kernel32/thread/no_termination.h"
#include "message_queue.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "window_class.h"
#include "window_life.h"
#include "window_place.h"
#include "window_table.h"

using namespace platform;

namespace platform
{

bool MessageQueue::handle_sent()
{
    SentMessage* message = nullptr; // the queue keeps it, even if the thread ends in a procedure
    {
        const Uninterrupted<std::mutex> guard(m_lock);
        if (m_sent.empty())
            return false;
        m_handling.splice(m_handling.end(), m_sent, m_sent.begin());
        message = m_handling.back().get();
    }
    const bool there = IsWindow(message->window);
    if (there)
        switch (message->kind)
        {
        case SentMessage::Kind::message:
            message->result =
                call_procedure(message->window, message->message, message->wParam,
                               message->parcel ? message->parcel->contents() : message->lParam);
            break;
        case SentMessage::Kind::show:
            show_window(message->window, static_cast<int>(message->wParam));
            break;
        case SentMessage::Kind::destroy:
            destroy_window(message->window);
            break;
        }
    std::shared_ptr<SentMessage> done;
    {
        const Uninterrupted<std::mutex> guard(m_lock);
        done = std::move(m_handling.back());
        m_handling.pop_back();
    }
    done->finish(there ? SentMessage::handled : SentMessage::failed);
    return true;
}

bool MessageQueue::wait_for_answer(const SentMessage& message, int64_t deadline, bool handles)
{
    for (;;)
    {
        // Read before the check: an answer or message that arrives after it ends the wait at once.
        const uint32_t posts = m_posts.load(std::memory_order_acquire);
        if (message.state.load(std::memory_order_acquire) != SentMessage::waiting)
            return true;
        if (handles && handle_sent())
            continue;
        if (!futex_wait(&m_posts, posts, deadline, false))
            return message.state.load(std::memory_order_acquire) != SentMessage::waiting;
    }
}

} // namespace platform

namespace
{

struct Receiver
{
    std::shared_ptr<MessageQueue> queue; // null: no such window
    MakeParcel make_parcel = nullptr;
    bool own_thread = false;
};

Receiver receiver_of(HWND window)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    if (!found)
        return {};
    return {found->queue, found->window_class->make_parcel, found->thread == GetCurrentThreadId()};
}

// Sends to another thread and waits. False with the last error set.
bool send_across(const Receiver& receiver, HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                 UINT flags, DWORD limit, LRESULT& result)
{
    MessageQueue* const own = MessageQueue::own();
    if (!own)
        return false;
    const auto sent = std::make_shared<SentMessage>();
    sent->window = window;
    sent->message = message;
    sent->wParam = wParam;
    sent->lParam = lParam;
    sent->sender = own->shared_from_this();
    if (limit != INFINITE)
    {
        sent->parcel = make_text_parcel(message, wParam, lParam);
        if (!sent->parcel && receiver.make_parcel)
            sent->parcel = receiver.make_parcel(message, wParam, lParam);
    }
    if (!receiver.queue->send(sent))
        return false;
    if (!own->wait_for_answer(*sent, deadline_after(limit), !(flags & SMTO_BLOCK)))
        return fail_with(ERROR_TIMEOUT);
    if (sent->state.load(std::memory_order_acquire) == SentMessage::failed)
        return fail_with(ERROR_INVALID_WINDOW_HANDLE);
    if (sent->parcel)
        sent->parcel->bring_back();
    result = sent->result;
    return true;
}

bool send_message(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, DWORD limit,
                  LRESULT& result)
{
    const Receiver receiver = receiver_of(window);
    if (!receiver.queue)
        return false;
    if (receiver.own_thread)
    {
        result = call_procedure(window, message, wParam, lParam);
        return true;
    }
    try
    {
        return send_across(receiver, window, message, wParam, lParam, flags, limit, result);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

} // namespace

extern "C" LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = 0;
    send_message(window, message, wParam, lParam, SMTO_NORMAL, INFINITE, result);
    return result;
}

extern "C" LRESULT SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                       UINT flags, UINT limit, PDWORD_PTR result)
{
    int error = 0;
    if (api_fault("SendMessageTimeoutW", error))
        return fail_with(static_cast<DWORD>(error));
    if (flags & ~SMTO_BLOCK)
        return fail_with(ERROR_INVALID_PARAMETER);
    LRESULT answer = 0;
    if (!send_message(window, message, wParam, lParam, flags, limit, answer))
        return 0;
    if (result)
        *result = static_cast<DWORD_PTR>(answer);
    return 1;
}

extern "C" BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (!window)
    {
        if (!MessageQueue::own())
            return FALSE;
        return PostThreadMessageW(GetCurrentThreadId(), message, wParam, lParam);
    }
    const Receiver receiver = receiver_of(window);
    if (!receiver.queue)
        return FALSE;
    MSG posted = {};
    posted.hwnd = window;
    posted.message = message;
    posted.wParam = wParam;
    posted.lParam = lParam;
    posted.time = timeGetTime();
    return receiver.queue->post(posted);
}

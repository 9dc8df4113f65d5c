#include "listener.h"

#include <chrono>
#include <cstring>
#include <utility>

#include "channel_losses.h"
#include "failure.h"
#include "text.h"

namespace trace
{

namespace
{

// The buffer: the writer's process id, then the text, zero-terminated or filling the rest.
constexpr size_t buffer_size = 4096;
constexpr size_t text_offset = 4;

constexpr size_t store_limit = 64 << 20; // bytes of texts and what belongs to each

// How long the thread waits before it looks whether it is to end. A signal can't wake it: what a
// signal handler may call doesn't include setting an event.
constexpr DWORD wait_slice = 100; // ms

Record news_of(const ChannelLosses& lost)
{
    std::string why = lost.full > 0 ? "more came than could be taken" : "";
    if (lost.unheard > 0)
        why += std::string(why.empty() ? "" : ", and ") +
               "their writers went on while this viewer did not run";
    return loss_of(lost.all(), std::to_string(lost.all()) + " records lost: " + why);
}

} // namespace

Listener::Listener()
{
    SECURITY_DESCRIPTOR descriptor{};
    SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
    const auto fail = [this](const char* what)
    {
        const DWORD error = GetLastError();
        release();
        throw Failure(exit_failed, std::string("the debug string channel can't be had: ") + what +
                                       ": " + error_text(error));
    };

    // Before the channel is taken: what writers give up until the thread runs counts already.
    m_channel_losses = channel_losses();
    // No access list: any process may write.
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE))
        fail("security descriptor");
    SetLastError(ERROR_SUCCESS);
    m_buffer_ready = CreateEventA(&security, FALSE, FALSE, "DBWIN_BUFFER_READY");
    if (!m_buffer_ready)
        fail("DBWIN_BUFFER_READY");
    if (GetLastError() == ERROR_ALREADY_EXISTS)
    {
        release();
        throw Failure(exit_channel_taken, "another listener has the debug string channel, which "
                                          "has room for one; end it first");
    }
    m_data_ready = CreateEventA(&security, FALSE, FALSE, "DBWIN_DATA_READY");
    if (!m_data_ready)
        fail("DBWIN_DATA_READY");
    m_mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, &security, PAGE_READWRITE, 0, buffer_size,
                                   "DBWIN_BUFFER");
    if (!m_mapping)
        fail("DBWIN_BUFFER");
    m_buffer = static_cast<const char*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, buffer_size));
    if (!m_buffer)
        fail("DBWIN_BUFFER view");
    m_thread = std::thread([this] { run(); });
}

Listener::~Listener()
{
    Listener::stop();
    release();
}

void Listener::release()
{
    if (m_buffer) // the channel was ours
    {
        SetEvent(m_buffer_ready); // for a writer that came back since the thread has ended
        UnmapViewOfFile(const_cast<char*>(m_buffer));
    }
    for (const HANDLE object : {m_buffer_ready, m_data_ready, m_mapping})
        if (object)
            CloseHandle(object);
}

void Listener::stop()
{
    m_run = false;
    if (m_thread.joinable())
        m_thread.join();
}

bool Listener::next(Record& record, unsigned milliseconds)
{
    {
        std::unique_lock lock(m_lock);
        if (!m_arrived.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                [this] { return !m_waiting.empty() || m_lost.all() > 0; }))
            return false;
        if (m_waiting.empty())
        {
            record = news_of(std::exchange(m_lost, {}));
            return true;
        }
        record = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_waiting_bytes -= bytes_of(record);
    }
    if (record.is_loss())
        return true;
    record.text = utf8_from_narrow(record.text);
    if (record.text.ends_with('\n'))
        record.text.pop_back();
    if (record.text.ends_with('\r'))
        record.text.pop_back();
    return true;
}

void Listener::run()
{
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
    SetEvent(m_buffer_ready);
    while (m_run)
        if (!take(wait_slice))
            count_channel_losses();
    take(0);                  // what was written before the end was asked for
    SetEvent(m_buffer_ready); // a writer that waits goes on
}

// Copies a text out and frees the buffer, in this order.
bool Listener::take(DWORD milliseconds)
{
    if (WaitForSingleObject(m_data_ready, milliseconds) != WAIT_OBJECT_0)
        return false;
    Record record;
    record.time = current_time();
    std::memcpy(&record.process, m_buffer, sizeof record.process);
    const char* const text = m_buffer + text_offset;
    record.text.assign(text, strnlen(text, buffer_size - text_offset));
    SetEvent(m_buffer_ready);

    record.name = m_names.name_of(record.process);
    count_channel_losses(); // before this text, or beside it
    keep(std::move(record));
    return true;
}

// Takes over what writers have given up: while this process was stopped, or not run for too long.
void Listener::count_channel_losses()
{
    const uint32_t now = channel_losses();
    const uint32_t fresh = now - std::exchange(m_channel_losses, now);
    if (fresh == 0)
        return;
    const std::lock_guard lock(m_lock);
    m_lost.unheard += fresh;
    m_arrived.notify_one();
}

void Listener::keep(Record record)
{
    const std::lock_guard lock(m_lock);
    const size_t bytes = bytes_of(record);
    if (m_waiting_bytes + bytes > store_limit)
    {
        ++m_lost.full;
        return;
    }
    if (m_lost.all() > 0)
    {
        m_waiting.push_back(news_of(std::exchange(m_lost, {})));
        m_waiting_bytes += bytes_of(m_waiting.back());
    }
    m_waiting_bytes += bytes;
    m_waiting.push_back(std::move(record));
    m_arrived.notify_one();
}

} // namespace trace

#include "copies.h"

#include <iostream>
#include <mutex>
#include <utility>

#include <plinth_w32_system.h>

#include <process.h>

#include "texts.h"

namespace
{

constexpr double progress_interval_ms = 250;

// One copy under way. Lives until its last callback, which sets the event.
struct CopyUnderWay
{
    Handle ended{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<int> status = QV_OK;
};

// On a thread of the library, after each block. A copy continues after a failed read and after a
// failure to get the size, so the status is kept and the end is waited for.
void copy_progress(int status, uint64_t /*size*/, uint64_t /*copied*/, void* context)
{
    CopyUnderWay& copy = *static_cast<CopyUnderWay*>(context);
    if (status == QV_ERR_INPROGRESS)
        return;
    if (status != QV_OK)
        copy.status = status;
    if (status != QV_ERR_FILESIZE && status != QV_ERR_READFILE)
        SetEvent(copy.ended.get());
}

bool make_folder_of(const std::wstring& path)
{
    const size_t end = path.find_last_of(L"\\/");
    return end == std::wstring::npos ||
           QV_CreateDirectory(path.substr(0, end).c_str(), 1, QV_SECURITY_DEFAULT) == QV_OK;
}

} // namespace

Copies::Copies(std::wstring source, std::wstring target, std::vector<SourceFile> files, HANDLE stop)
    : m_source(std::move(source)), m_target(std::move(target)), m_files(std::move(files)),
      m_stop(stop), m_waiting(CreateSemaphoreW(nullptr, static_cast<LONG>(m_files.size()),
                                               static_cast<LONG>(m_files.size()) + 1, nullptr)),
      m_statuses(m_files.size(), QV_ERR_CANCELLED)
{
}

std::vector<int> Copies::run(unsigned count)
{
    const uintptr_t timer =
        QV_SetThreadedTimer(progress_tick, this, progress_interval_ms, 0, QV_PRECISION_SLEEP, 1);
    std::vector<Handle> threads;
    if (!m_waiting || !start_threads(count, threads))
        TraceLastOsErr();
    std::vector<HANDLE> handles;
    handles.reserve(threads.size());
    for (const Handle& thread : threads)
        handles.push_back(thread.get());
    if (!handles.empty())
        WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), TRUE, INFINITE);
    if (timer)
    {
        QV_KillTimerAsync(static_cast<unsigned>(timer));
        QV_WaitForTimer(static_cast<unsigned>(timer)); // it uses this object
    }
    if (m_shown)
        std::wcerr << std::endl;
    return m_statuses;
}

bool Copies::start_threads(unsigned count, std::vector<Handle>& threads)
{
    while (threads.size() < count)
    {
        const uintptr_t thread = _beginthreadex(nullptr, 0, thread_procedure, this, 0, nullptr);
        if (thread == 0)
            return false;
        threads.emplace_back(reinterpret_cast<HANDLE>(thread));
    }
    return true;
}

unsigned WINAPI Copies::thread_procedure(void* self)
{
    static_cast<Copies*>(self)->work();
    return 0;
}

int Copies::progress_tick(void* self)
{
    auto& copies = *static_cast<Copies*>(self);
    copies.m_shown = true;
    std::wcerr << text_of(text_progress, copies.m_ended.load(),
                          static_cast<unsigned>(copies.m_files.size()))
               << std::flush;
    return 1; // continue
}

void Copies::work()
{
    for (size_t index = 0; next(index); ++m_ended)
    {
        const int status = copy_one(m_files[index]);
        const std::lock_guard guard(m_lock);
        m_statuses[index] = status;
    }
}

// False if there are no more files, or if the work is to stop.
bool Copies::next(size_t& index)
{
    const HANDLE events[] = {m_stop, m_waiting.get()};
    if (WaitForMultipleObjects(ARRAYSIZE(events), events, FALSE, 0) != WAIT_OBJECT_0 + 1)
        return false;
    const std::lock_guard guard(m_lock);
    index = m_next++;
    return true;
}

int Copies::copy_one(const SourceFile& file) const
{
    const std::wstring target = joined(m_target, file.name);
    if (!make_folder_of(target))
        return QV_ERR_CREATEDIR;
    CopyUnderWay copy;
    if (!copy.ended)
        return QV_ERR_SYSTEM;
    volatile uint32_t proceed = 1;
    const int queued = QV_CopyFile(joined(m_source, file.name).c_str(), target.c_str(), 0, &proceed,
                                   copy_progress, &copy);
    if (queued != QV_OK)
        return queued;
    const HANDLE events[] = {copy.ended.get(), m_stop};
    if (WaitForMultipleObjects(ARRAYSIZE(events), events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
        proceed = 0; // ends after the current block
    WaitForSingleObject(copy.ended.get(), INFINITE);
    QV_CancelAsyncIO(nullptr); // the callback has returned and the files are closed after this
    return copy.status;
}

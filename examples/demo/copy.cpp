// The callback only stores two numbers, on a thread of the library; the waiting thread shows them a
// few times a second. On a terminal one line is overwritten again and again; otherwise there are a
// few separate lines.
#include "copy.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <plinth_w32_system.h>

namespace demo
{

namespace
{

constexpr size_t path_limit = 264;
constexpr double mebibyte = 1024.0 * 1024.0;

bool is_terminal()
{
#if defined(_WIN32)
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

class Progress
{
public:
    explicit Progress(uint64_t size) : m_size(size) {}

    static void on_block(int status, uint64_t size, uint64_t copied, void* self)
    {
        auto& progress = *static_cast<Progress*>(self);
        const std::lock_guard lock(progress.m_mutex);
        progress.m_copied = copied;
        if (size != 0)
            progress.m_size = size;
        // After a failed read, or without the size, other callbacks follow.
        if (status == QV_ERR_FILESIZE || status == QV_ERR_READFILE)
            progress.m_failure = status;
        else if (status != QV_ERR_INPROGRESS)
        {
            progress.m_ended = true;
            progress.m_status = status;
            progress.m_changed.notify_all();
        }
    }

    // Shows the progress until the copy has ended, and returns its status.
    int follow()
    {
        const bool terminal = is_terminal();
        const auto pause = std::chrono::milliseconds(terminal ? 100 : 2000);
        std::unique_lock lock(m_mutex);
        while (!m_changed.wait_for(lock, pause, [&] { return m_ended; }))
            show(terminal, false);
        show(terminal, true);
        return m_status != QV_OK ? m_status : m_failure;
    }

private:
    void show(bool terminal, bool last) const
    {
        const double seconds = (QV_GetTimeCounter() - m_start) / 1000;
        const double rate = seconds > 0 ? static_cast<double>(m_copied) / seconds : 0;
        const uint64_t rest = m_copied < m_size ? m_size - m_copied : 0;
        std::fprintf(stderr,
                     "%scopying the text to a temporary file: %llu of %llu bytes, %.1f MiB/s, ",
                     terminal ? "\r" : "", static_cast<unsigned long long>(m_copied),
                     static_cast<unsigned long long>(m_size), rate / mebibyte);
        if (last)
            std::fprintf(stderr, "%.2f s%s\n", seconds, terminal ? "      " : "");
        else if (rate > 0)
            std::fprintf(stderr, "%.0f s left%s", static_cast<double>(rest) / rate,
                         terminal ? "   " : "\n");
        else
            std::fprintf(stderr, "time left unknown%s", terminal ? "" : "\n");
        std::fflush(stderr);
    }

    const double m_start = QV_GetTimeCounter();
    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    uint64_t m_size;
    uint64_t m_copied = 0;
    int m_status = QV_OK;
    int m_failure = QV_OK; // a failure after which the copy continued
    bool m_ended = false;
};

} // namespace

int copy_with_progress(const wchar_t* path)
{
    uint64_t size = 0;
    int status = QV_GetFileSizeFromName(path, &size);
    if (status != QV_OK)
        return status;
    wchar_t target[path_limit];
    status = QV_GetTempFileName(nullptr, L"plinth-demo-$$$$$$", 1, target, path_limit);
    if (status != QV_OK)
        return status;
    Progress progress(size);
    status = QV_CopyFile(path, target, 0, nullptr, Progress::on_block, &progress);
    if (status == QV_OK)
    {
        status = progress.follow();
        QV_CancelAsyncIO(nullptr); // the copy is closed when this returns
    }
    QV_RemoveFile(target, 0);
    return status;
}

} // namespace demo

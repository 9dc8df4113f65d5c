// The library's side.
#include "peers.h"

#include <memory>
#include <semaphore>
#include <vector>

#include <plinth_w32_system.h>

namespace peers
{

namespace
{

constexpr wchar_t text_100[] =
    L"A text of one hundred characters with its line end, as programs write them to their logs, "
    L"again.!\r\n";
constexpr size_t path_limit = 264;

class File
{
public:
    File(const std::string& path, unsigned access)
    {
        wchar_t wide[path_limit];
        QV_Char2WChar(path.c_str(), -1, wide, path_limit);
        require(QV_OpenFile(wide, access, QV_SHARE_READ | QV_SHARE_WRITE, QV_SECURITY_DEFAULT,
                            &m_file) == QV_OK,
                "QV_OpenFile failed");
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { QV_CloseFile(m_file); }

    QvFile get() const { return m_file; }

private:
    QvFile m_file = nullptr;
};

struct EndPool
{
    void operator()(CThreadPool* pool) const { CThreadPool::DestroyThreadPool(pool); }
};

void* release(void* semaphore)
{
    static_cast<std::binary_semaphore*>(semaphore)->release();
    return nullptr;
}

struct Completion
{
    std::binary_semaphore ended{0};
    int status = QV_OK;

    static void call(int status, uint64_t, void* self)
    {
        if (status == QV_ERR_INPROGRESS)
            return;
        auto& completion = *static_cast<Completion*>(self);
        completion.status = status;
        completion.ended.release();
    }
};

} // namespace

double plinth_text()
{
    return timed(records, [] { require(QV_Log(text_100) == QV_OK, "QV_Log failed"); });
}

double plinth_record()
{
    const unsigned before = QV_SetTraceOptions(QV_DIAG_LOGFILE);
    const double time = timed(records, [] { DiagOutputExW(L"%s", text_100); });
    QV_SetTraceOptions(before);
    return time;
}

double plinth_read()
{
    const File file(source_file(), QV_OPEN_READ);
    std::vector<char> buffer(block_size);
    return timed(file_blocks,
                 [&]
                 {
                     uint64_t done = 0;
                     QV_SeekFile(file.get(), 0, 0);
                     QV_ReadFile(file.get(), buffer.data(), block_size, &done, nullptr);
                     require(done == block_size, "QV_ReadFile failed");
                 });
}

double plinth_write()
{
    const File file(path_of("plinth-written"), QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
    const std::vector<char> buffer(block_size, 'x');
    return timed(file_blocks,
                 [&]
                 {
                     uint64_t done = 0;
                     QV_WriteFile(file.get(), buffer.data(), block_size, &done, nullptr);
                     require(done == block_size, "QV_WriteFile failed");
                 });
}

double plinth_open()
{
    return timed(opens, [] { const File file(source_file(), QV_OPEN_READ); });
}

double plinth_pool()
{
    const std::unique_ptr<CThreadPool, EndPool> pool(CThreadPool::CreateThreadPool());
    std::binary_semaphore done(0);
    const auto call = [&]
    {
        require(pool && pool->MakeCallFromThreadPool(release, &done) == QV_OK, "no pool");
        done.acquire();
    };
    call(); // starts the thread
    return timed(calls, call);
}

double plinth_transfer()
{
    const File file(path_of("plinth-transferred"), QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
    const std::vector<char> buffer(block_size, 'x');
    return timed(transfers,
                 [&]
                 {
                     Completion completion;
                     const QvAsyncIo async = {0, &completion, Completion::call};
                     require(QV_WriteFile(file.get(), buffer.data(), block_size, nullptr, &async) ==
                                 QV_OK,
                             "no transfer");
                     completion.ended.acquire();
                     require(completion.status == QV_OK, "the transfer failed");
                 });
}

double plinth_timer()
{
    Ticks seen;
    const uintptr_t timer =
        QV_SetThreadedTimer([](void* data) { return static_cast<Ticks*>(data)->add() ? 1 : 0; },
                            &seen, timer_interval, 0, QV_PRECISION_MM_1, 1);
    require(timer != 0, "no timer");
    QV_WaitForTimer(static_cast<unsigned>(timer));
    return seen.error();
}

} // namespace peers

// Calls that docs/threads.md allows in callbacks: those of the library that have threads and locks
// of their own, from each kind of callback.
#include "async_calls.h"
#include "folder.h"
#include "support/test.h"

using namespace test;

namespace
{

// Runs call on a thread of this kind, and returns when call has ended.
using RunOn = void (*)(const std::function<void()>& call);

int tick(void* call)
{
    (*static_cast<const std::function<void()>*>(call))();
    return 0;
}

template <int mode> void run_on_timer(const std::function<void()>& call)
{
    void* const data = const_cast<std::function<void()>*>(&call);
    const uintptr_t id = QV_SetThreadedTimer(tick, data, 1, 1, mode, 1);
    ASSERT_NE(id, 0u);
    EXPECT_EQ(QV_WaitForTimer(static_cast<unsigned>(id)), QV_OK);
}

void run_on_pool(const std::function<void()>& call)
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    const auto function = [](void* data) -> void*
    {
        tick(data);
        return nullptr;
    };
    EXPECT_EQ(pool->MakeCallFromThreadPool(function, const_cast<std::function<void()>*>(&call)),
              QV_OK);
    CThreadPool::DestroyThreadPool(pool);
}

void run_on_transfer(const std::function<void()>& call)
{
    const std::string file = make_folder("transfer") + "/a";
    write_file(file, "x");
    AsyncCalls calls;
    calls.act = call;
    ASSERT_EQ(calls.copy(windows_form(file), windows_form(file + "b")), QV_OK);
    calls.wait();
    QV_CancelAsyncIO(nullptr);
}

using CallbackConcurrent = InFolder;

TEST_F(CallbackConcurrent, LogsTracesOpensFilesSetsTimersAndCallsThePool)
{
    make("a");
    const auto use_everything = [this](std::vector<int>& answers)
    {
        QvFile file = nullptr;
        answers.push_back(QV_Log(L"from a callback\r\n"));
        DiagOutputExW(L"from a callback, thread |thrid|");
        answers.push_back(
            QV_OpenFile(path("a"), QV_OPEN_READ, QV_SHARE_READ, QV_SECURITY_DEFAULT, &file));
        answers.push_back(QV_CloseFile(file));
        run_on_timer<QV_PRECISION_SLEEP>([&] { answers.push_back(QV_Log(L"timer\r\n")); });
        run_on_pool([&] { answers.push_back(QV_Log(L"pool\r\n")); });
    };
    constexpr std::pair<const char*, RunOn> kinds[] = {
        {"timer with a thread", run_on_timer<QV_PRECISION_SLEEP>},
        {"multimedia timer", run_on_timer<QV_PRECISION_MM_1>},
        {"pool", run_on_pool},
        {"transfer", run_on_transfer}};
    for (const auto& [name, run] : kinds)
    {
        std::vector<int> answers;
        run([&] { use_everything(answers); });
        EXPECT_EQ(answers, std::vector<int>(5, QV_OK)) << name;
    }
}

} // namespace

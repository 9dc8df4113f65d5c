// Ends of a process that has asynchronous transfers in flight.
#include <cstdlib>
#include <semaphore>

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/processes.h"
#include "support/soak.h"

using test::Wide;

namespace
{

constexpr int good_exit = 7;

Wide source()
{
    const std::string folder = test::make_folder("exit");
    test::write_file(folder + "/source", "");
    const test::OpenedFile file(test::path_in(folder, "source"), QV_OPEN_WRITE);
    QV_SeekFile(file, int64_t{1} << 40, 0);
    QV_SetEOF(file);
    return test::path_in(folder, "source");
}

Wide target(const std::string& name)
{
    return test::path_in(test::make_folder("exit"), name);
}

std::counting_semaphore<> s_called{0};

void on_copy(int, uint64_t, uint64_t, void*)
{
    s_called.release();
}

int exit_in_flight(int, char**)
{
    const Wide from = source();
    std::vector<char> buffer(4096 * 1000);
    QvFile file = nullptr;
    if (QV_OpenFile(from, QV_OPEN_READ, test::share_all, QV_SECURITY_DEFAULT, &file) != QV_OK)
        return 1;
    const QvAsyncIo io = {0, nullptr, [](int, uint64_t, void*) { s_called.release(); }};
    // The buffer lives to the end of the process.
    static std::vector<char> kept;
    kept = std::move(buffer);
    if (QV_ReadFile(file, kept.data(), kept.size(), nullptr, &io) != QV_OK)
        return 2;
    for (const char* const name : {"a", "b", "c", "d"})
        if (QV_CopyFile(from, target(name), 0, nullptr, on_copy, nullptr) != QV_OK)
            return 3;
    for (int i = 0; i < 10; ++i)
        s_called.acquire();
    std::exit(good_exit);
}
const test::ChildMain exit_in_flight_main("exit-in-flight", exit_in_flight);

int exit_idle(int, char**)
{
    const Wide from = target("small");
    test::write_file(test::make_folder("exit") + "/small", "content");
    if (QV_CopyFile(from, target("copy"), 0, nullptr, on_copy, nullptr) != QV_OK)
        return 1;
    s_called.acquire();
    return good_exit;
}
const test::ChildMain exit_idle_main("exit-idle", exit_idle);

int exit_from_callback(int, char**)
{
    const auto leave = [](int, uint64_t, uint64_t, void*) { std::exit(good_exit); };
    if (QV_CopyFile(source(), target("a"), 0, nullptr, leave, nullptr) != QV_OK)
        return 1;
    std::binary_semaphore{0}.acquire();
    return 2;
}
const test::ChildMain exit_from_callback_main("exit-from-callback", exit_from_callback);

int exit_beside_callback(int, char**)
{
    static std::binary_semaphore never{0};
    const auto stay = [](int, uint64_t, uint64_t, void*)
    {
        s_called.release();
        never.acquire();
    };
    if (QV_CopyFile(source(), target("a"), 0, nullptr, stay, nullptr) != QV_OK)
        return 1;
    s_called.acquire();
    return good_exit;
}
const test::ChildMain exit_beside_callback_main("exit-beside-callback", exit_beside_callback);

int throw_from_callback(int, char**)
{
    std::set_terminate([] { std::_Exit(good_exit); });
    const auto thrower = [](int, uint64_t, uint64_t, void*) { throw 1; };
    if (QV_CopyFile(source(), target("a"), 0, nullptr, thrower, nullptr) != QV_OK)
        return 1;
    std::binary_semaphore{0}.acquire();
    return 2;
}
const test::ChildMain throw_from_callback_main("throw-from-callback", throw_from_callback);

TEST(AsyncExitConcurrent, TransfersInFlightEndBeforeWhatTheyUse)
{
    const test::SoakTime soak;
    uint64_t total = 0;
    do
        for (int round = 0; round < 10; ++round, ++total)
            ASSERT_EQ(test::Process::child("exit-in-flight").wait(), good_exit);
    while (soak.goes_on());
    soak.report("exits", total);
}

TEST(AsyncExitConcurrent, IdleWorkersEndWithTheProcess)
{
    for (int round = 0; round < 5; ++round)
        ASSERT_EQ(test::Process::child("exit-idle").wait(), good_exit);
}

TEST(AsyncExitConcurrent, ACallbackMayEndTheProcess)
{
    EXPECT_EQ(test::Process::child("exit-from-callback").wait(), good_exit);
}

TEST(AsyncExitConcurrent, ACallbackThatNeverReturnsDoesNotKeepTheProcess)
{
    EXPECT_EQ(test::Process::child("exit-beside-callback").wait(), good_exit);
}

TEST(AsyncExit, ACallbackThatThrowsEndsTheProcess)
{
    EXPECT_EQ(test::Process::child("throw-from-callback").wait(), good_exit);
}

} // namespace

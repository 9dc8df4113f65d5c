// Ends of a process that has asynchronous transfers in flight.
#include <semaphore>

#include "support/test.h"

#include "support/files.h"
#include "support/processes.h"
#include "support/soak.h"

using test::Wide;

namespace
{

constexpr int good_exit = 7;
std::counting_semaphore<> g_called{0};

Wide path(const char* name)
{
    return test::path_in(test::make_folder("exit"), name);
}

// A file of that size, all holes; by default far too long to be copied to its end.
Wide source(int64_t size = int64_t{1} << 40)
{
    const test::OpenedFile file(path("source"), QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
    QV_SeekFile(file, size, 0);
    QV_SetEOF(file);
    return path("source");
}

void on_copy(int, uint64_t, uint64_t, void*)
{
    g_called.release();
}

int exit_in_flight(int, char**)
{
    const Wide from = source();
    static std::vector<char> buffer(4096 * 1000); // lives to the end of the process
    QvFile file = nullptr;
    if (QV_OpenFile(from, QV_OPEN_READ, test::share_all, QV_SECURITY_DEFAULT, &file) != QV_OK)
        return 1;
    const QvAsyncIo io = {0, nullptr, [](int, uint64_t, void*) { g_called.release(); }};
    if (QV_ReadFile(file, buffer.data(), buffer.size(), nullptr, &io) != QV_OK)
        return 2;
    for (const char* const name : {"a", "b", "c", "d"})
        if (QV_CopyFile(from, path(name), 0, nullptr, on_copy, nullptr) != QV_OK)
            return 3;
    for (int i = 0; i < 10; ++i)
        g_called.acquire();
    std::exit(good_exit);
}
const test::ChildMain exit_in_flight_main("exit-in-flight", exit_in_flight);

// Copies, and returns after a callback's signal.
int exit_with(QvCopyCompletion completion, const Wide& from = source())
{
    if (QV_CopyFile(from, path("a"), 0, nullptr, completion, nullptr) != QV_OK)
        return 1;
    g_called.acquire();
    return good_exit;
}
// With an idle worker.
const test::ChildMain exit_idle("exit-idle",
                                [](int, char**) { return exit_with(on_copy, source(100)); });

void exit_now(int, uint64_t, uint64_t, void*)
{
    std::exit(good_exit);
}
const test::ChildMain exit_from_callback("exit-from-callback",
                                         [](int, char**) { return exit_with(exit_now); });

void never_return(int, uint64_t, uint64_t, void*)
{
    g_called.release();
    std::binary_semaphore{0}.acquire();
}
const test::ChildMain exit_beside_callback("exit-beside-callback",
                                           [](int, char**) { return exit_with(never_return); });

void throw_it(int, uint64_t, uint64_t, void*)
{
    std::set_terminate([] { std::_Exit(good_exit); });
    throw 1;
}
const test::ChildMain throw_from_callback("throw-from-callback",
                                          [](int, char**) { return exit_with(throw_it); });

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

TEST(AsyncExitConcurrent, TheProcessMayEndIdleOrACallbackEndItThrowOrNeverReturn)
{
    for (const char* const child :
         {"exit-idle", "exit-from-callback", "throw-from-callback", "exit-beside-callback"})
        EXPECT_EQ(test::Process::child(child).wait(), good_exit) << child;
}

} // namespace

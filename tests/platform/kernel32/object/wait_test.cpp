// Waiting for several objects, and semaphores.
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <process.h>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"

using test::error_of;
using test::Handle;
using test::new_event;

namespace
{

Handle semaphore(LONG initial, LONG maximum, const char* name = nullptr)
{
    SetLastError(12345);
    return Handle(CreateSemaphoreA(nullptr, initial, maximum, name));
}

DWORD wait_for(const std::vector<HANDLE>& objects, bool all, DWORD milliseconds = 0)
{
    return WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.data(), all,
                                  milliseconds);
}

bool is_signalled(HANDLE object)
{
    return WaitForSingleObject(object, 0) == WAIT_OBJECT_0;
}

class Wait : public testing::Test
{
protected:
    ~Wait() override { PlinthTestReset(); }
};

} // namespace

TEST_F(Wait, ForOneTakesTheFirstSignalAndNoOther)
{
    const Handle first = new_event();
    const Handle second = new_event(false, true);
    const Handle third = semaphore(1, 1);
    EXPECT_EQ(wait_for({first, second, third, second}, false), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(wait_for({first, second, third}, false), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(wait_for({first, second, third}, false), WAIT_TIMEOUT);
    EXPECT_EQ(wait_for({first, second, third}, false, 1), WAIT_TIMEOUT);
}

TEST_F(Wait, ForAllTakesNothingBeforeAllAreSignalled)
{
    const Handle once = new_event(false, true);
    const Handle lasting = new_event(true, true);
    const Handle counted = semaphore(0, 2);
    EXPECT_EQ(wait_for({once, lasting, counted}, true, 1), WAIT_TIMEOUT);
    EXPECT_TRUE(is_signalled(once));
    SetEvent(once);
    EXPECT_TRUE(ReleaseSemaphore(counted, 2, nullptr));
    EXPECT_EQ(wait_for({once, lasting, counted}, true, INFINITE), WAIT_OBJECT_0);
    EXPECT_FALSE(is_signalled(once));
    EXPECT_TRUE(is_signalled(lasting));
    EXPECT_TRUE(is_signalled(counted));
    EXPECT_FALSE(is_signalled(counted));
}

TEST_F(Wait, BadRequestsAreRefusedAndTakeNothing)
{
    const Handle event = new_event(false, true);
    const Handle mapping(
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr));
    const struct
    {
        std::vector<HANDLE> objects;
        bool all;
        DWORD error;
    } rows[] = {
        {{}, false, ERROR_INVALID_PARAMETER},
        {std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS + 1, event), false, ERROR_INVALID_PARAMETER},
        {{event, event}, true, ERROR_INVALID_PARAMETER},
        {{event, mapping}, false, ERROR_INVALID_HANDLE},
        {{event, nullptr}, false, ERROR_INVALID_HANDLE}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(wait_for(row.objects, row.all), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_EQ(WaitForMultipleObjects(1, nullptr, FALSE, 0), WAIT_FAILED);
    EXPECT_TRUE(is_signalled(event));
}

// Returns when the thread sleeps in a wait for several words.
static void wait_until_asleep(const std::atomic<DWORD>& thread)
{
    const std::string call = std::to_string(SYS_futex_waitv) + " ";
    while (!test::read_file("/proc/self/task/" + std::to_string(thread) + "/syscall")
                .starts_with(call))
        Sleep(0);
}

// The signal that wakes a wait for all may be one that another thread could take at once.
TEST_F(Wait, AConcurrentWaitThatTakesNothingKeepsNoSignalFromOthers)
{
    for (const int error : {0, ENOSYS}) // without futex_waitv the thread polls
    {
        SCOPED_TRACE(error);
        if (error)
            PlinthTestFail("futex_waitv", 1, 0, error);
        const Handle work = new_event();
        const Handle never = new_event();
        const Handle done = new_event();
        std::atomic<DWORD> sleepers[2] = {};
        const auto wait = [&](int number, HANDLE other, bool all)
        {
            sleepers[number] = GetCurrentThreadId();
            wait_for({work, other}, all, INFINITE);
            SetEvent(done);
        };
        std::jthread greedy(wait, 0, HANDLE{never}, true);
        if (!error)
            wait_until_asleep(sleepers[0]);
        std::jthread modest(wait, 1, HANDLE{never}, false);
        if (!error)
            wait_until_asleep(sleepers[1]);
        SetEvent(work); // wakes the first sleeper
        EXPECT_EQ(WaitForSingleObject(done, 60'000), WAIT_OBJECT_0);
        EXPECT_FALSE(is_signalled(work));
        SetEvent(work);
        SetEvent(never);
        greedy.join();
        modest.join();
        EXPECT_FALSE(is_signalled(work));
        EXPECT_FALSE(is_signalled(never));
    }
}

TEST_F(Wait, ConcurrentWaitsForAllMoveEveryPairOfSignalsOnce)
{
    constexpr LONG pairs = 2000;
    const Handle left = semaphore(0, pairs);
    const Handle right = semaphore(0, pairs);
    std::atomic<LONG> taken = 0;
    std::vector<std::jthread> takers;
    for (int i = 0; i < 4; ++i)
        takers.emplace_back(
            [&, i]
            {
                const std::vector<HANDLE> objects =
                    i % 2 ? std::vector<HANDLE>{left, right} : std::vector<HANDLE>{right, left};
                while (taken < pairs)
                    taken += wait_for(objects, true, 20) == WAIT_OBJECT_0;
            });
    for (LONG i = 0; i < pairs; ++i)
    {
        ReleaseSemaphore(left, 1, nullptr);
        ReleaseSemaphore(right, 1, nullptr);
    }
    takers.clear();
    EXPECT_EQ(taken, pairs);
    EXPECT_FALSE(is_signalled(left));
    EXPECT_FALSE(is_signalled(right));
}

TEST_F(Wait, EndsWithTheThreadsThatItWaitsForAndLetsGoWhenTerminated)
{
    const Handle go = new_event(true);
    std::vector<HANDLE> threads;
    for (int i = 0; i < 3; ++i)
        threads.push_back(reinterpret_cast<HANDLE>(_beginthreadex(
            nullptr, 0, [](void* event) { return unsigned{WaitForSingleObject(event, INFINITE)}; },
            HANDLE{go}, 0, nullptr)));
    EXPECT_EQ(wait_for(threads, false), WAIT_TIMEOUT);
    SetEvent(go);
    EXPECT_EQ(wait_for(threads, true, 60'000), WAIT_OBJECT_0);
    for (const HANDLE thread : threads)
        CloseHandle(thread);

    std::array<HANDLE, 2> doors = {CreateEventA(nullptr, FALSE, FALSE, "door1"),
                                   CreateEventA(nullptr, FALSE, FALSE, "door2")};
    const Handle waiter(reinterpret_cast<HANDLE>(_beginthreadex(
        nullptr, 0,
        [](void* both)
        { return unsigned{WaitForMultipleObjects(2, static_cast<HANDLE*>(both), TRUE, INFINITE)}; },
        doors.data(), 0, nullptr)));
    EXPECT_TRUE(TerminateThread(waiter, 3));
    for (const HANDLE door : doors)
        EXPECT_TRUE(CloseHandle(door));
    for (const char* const name : {"door1", "door2"})
        EXPECT_EQ(Handle(CreateEventA(nullptr, FALSE, FALSE, name)).error(), ERROR_SUCCESS)
            << "a terminated waiter keeps nothing alive";
}

TEST_F(Wait, ASemaphoreCountsUpToItsMaximum)
{
    for (const auto& [initial, maximum] : {std::pair(-1, 1), {2, 1}, {0, 0}, {0, -1}})
        EXPECT_EQ(error_of(HANDLE{semaphore(initial, maximum)}), ERROR_INVALID_PARAMETER);
    const Handle counted = semaphore(1, MAXLONG);
    EXPECT_EQ(counted.error(), ERROR_SUCCESS);
    LONG before = -1;
    EXPECT_EQ(error_of(ReleaseSemaphore(counted, 0, &before)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(ReleaseSemaphore(counted, MAXLONG, &before)), ERROR_TOO_MANY_POSTS);
    EXPECT_EQ(before, -1);
    EXPECT_TRUE(ReleaseSemaphore(counted, MAXLONG - 1, &before));
    EXPECT_EQ(before, 1);
    EXPECT_TRUE(is_signalled(counted));
    EXPECT_TRUE(ReleaseSemaphore(counted, 1, &before));
    EXPECT_EQ(before, MAXLONG - 1);
    const Handle event = new_event();
    EXPECT_EQ(error_of(ReleaseSemaphore(event, 1, nullptr)), ERROR_INVALID_HANDLE);
}

// Reads a number from the test and takes that many from the semaphore "jobs".
static int take_jobs(int, char**)
{
    const Handle jobs(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, L"Local\\jobs"));
    for (int left = std::stoi(test::hear()); left > 0; --left)
        if (WaitForSingleObject(jobs, 60'000) != WAIT_OBJECT_0)
            return 1;
    return 0;
}
static const test::ChildMain g_take_jobs("take_jobs", take_jobs);

TEST_F(Wait, ANamedSemaphoreIsSharedAndAStrangersBytesInItAreHarmless)
{
    EXPECT_EQ(error_of(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, L"jobs")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(error_of(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, nullptr)),
              ERROR_INVALID_PARAMETER);
    const Handle jobs = semaphore(0, 5, "jobs");
    EXPECT_EQ(semaphore(3, 3, "jobs").error(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(error_of(CreateEventA(nullptr, FALSE, FALSE, "jobs")), ERROR_INVALID_HANDLE);
    test::ChildProcess taker("take_jobs");
    taker.tell("7");
    for (int given = 0; given < 7; ++given)
        while (!ReleaseSemaphore(jobs, 1, nullptr)) // until the child has taken one
            Sleep(0);
    EXPECT_EQ(taker.wait(), 0);
    EXPECT_FALSE(is_signalled(jobs));

    const std::string file = PlinthTestSharedFolder() + std::string("/s-jobs");
    const std::string wild(12, '\xff');
    std::FILE* const opened = std::fopen(file.c_str(), "r+"); // the file that others map
    ASSERT_NE(opened, nullptr);
    std::fwrite(wild.data(), 1, wild.size(), opened);
    std::fclose(opened);
    EXPECT_FALSE(is_signalled(jobs));
    EXPECT_EQ(wait_for({jobs}, false, 1), WAIT_TIMEOUT);
    LONG before = -1;
    EXPECT_TRUE(ReleaseSemaphore(jobs, 5, &before));
    EXPECT_EQ(before, 0);
    EXPECT_TRUE(is_signalled(jobs));
    EXPECT_EQ(error_of(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, L"jobs")), ERROR_INVALID_HANDLE)
        << "its maximum makes no sense";
}

// Threads: their handles, their ends, the ends others make for them, and their priorities.
#include <atomic>
#include <cerrno>
#include <csignal>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <process.h>
#include <windows.h>

#include <plinth_platform_test.h>

namespace
{

HANDLE begin(unsigned (*start)(void*), void* argument = nullptr, unsigned* id = nullptr)
{
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, start, argument, 0, id));
}

DWORD exit_code(HANDLE thread)
{
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

void expect_ends_with(HANDLE thread, DWORD code)
{
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0) << "stays signalled";
    EXPECT_EQ(exit_code(thread), code);
    CloseHandle(thread);
}

unsigned wait_for_event(void* event)
{
    WaitForSingleObject(event, INFINITE);
    return 7;
}

unsigned spin(void* running)
{
    *static_cast<std::atomic<bool>*>(running) = true;
    for (volatile unsigned turns = 0;;)
        turns = turns + 1;
}

unsigned read_pipe(void* end)
{
    char byte;
    return static_cast<unsigned>(read(*static_cast<int*>(end), &byte, 1));
}

} // namespace

class Thread : public testing::Test
{
public:
    ~Thread() override { PlinthTestReset(); }
};

TEST_F(Thread, AHandleIsSignalledWithTheExitCode)
{
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    unsigned id = 0;
    const HANDLE thread = begin(wait_for_event, event, &id);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, GetCurrentThreadId());
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    EXPECT_EQ(exit_code(thread), STILL_ACTIVE);
    SetEvent(event);
    expect_ends_with(thread, 7);
    CloseHandle(event);
    DWORD (*const start)(void*) = [](void* value) { return *static_cast<DWORD*>(value); };
    DWORD value = 0xFFFFFFFE;
    expect_ends_with(CreateThread(nullptr, 0, start, &value, 0, nullptr), value);
}

TEST_F(Thread, AThreadMayEndItselfFromWithin)
{
    expect_ends_with(begin(
                         [](void*) -> unsigned
                         {
                             _endthreadex(9);
                             return 1;
                         }),
                     9);
    expect_ends_with(begin(
                         [](void*) -> unsigned
                         {
                             TerminateThread(GetCurrentThread(), 10);
                             return 1;
                         }),
                     10);
    // Another library's way out: the handle is signalled nevertheless.
    expect_ends_with(begin([](void*) -> unsigned { pthread_exit(nullptr); }), 0);
}

TEST_F(Thread, AHandleMayBeClosedBeforeItsThreadEnds)
{
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    static std::atomic<int> ended = 0;
    for (int i = 0; i < 50; ++i)
        CloseHandle(begin([](void*) { return static_cast<unsigned>(++ended); }));
    while (ended < 50)
        Sleep(1);
    CloseHandle(event);
}

TEST_F(Thread, TheIdIsTheThreadsOwnAlsoAfterAFork)
{
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid()));
    const pid_t child = fork();
    if (child == 0)
        _exit(GetCurrentThreadId() == static_cast<DWORD>(gettid()) ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(Thread, TerminationEndsAThreadThatOnlySpins)
{
    std::atomic<bool> running = false;
    const HANDLE thread = begin(spin, &running);
    while (!running)
        Sleep(0);
    EXPECT_TRUE(TerminateThread(thread, 0));
    expect_ends_with(thread, 0);
}

TEST_F(Thread, TerminationEndsAThreadInABlockingCall)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const HANDLE reader = begin(read_pipe, &ends[0]);
    EXPECT_TRUE(TerminateThread(reader, 3));
    expect_ends_with(reader, 3);
    const HANDLE sleeper = begin(
        [](void*) -> unsigned
        {
            Sleep(INFINITE);
            return 0;
        });
    EXPECT_TRUE(TerminateThread(sleeper, 4));
    expect_ends_with(sleeper, 4);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Thread, TerminationEndsAThreadWhoseCreatorHadSignalsBlocked)
{
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    std::atomic<bool> running = false;
    const HANDLE thread = begin(spin, &running);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    EXPECT_TRUE(TerminateThread(thread, 5));
    expect_ends_with(thread, 5);
}

TEST_F(Thread, ATerminatedWaiterKeepsNothingAlive)
{
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, "door");
    const HANDLE thread = begin(wait_for_event, event);
    EXPECT_EQ(WaitForSingleObject(thread, 1), WAIT_TIMEOUT);
    EXPECT_TRUE(TerminateThread(thread, 6));
    expect_ends_with(thread, 6);
    CloseHandle(event);
    const HANDLE anew = CreateEventA(nullptr, FALSE, FALSE, "door");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "the event went with its last handle";
    CloseHandle(anew);
}

TEST_F(Thread, TerminationBesideAConcurrentEndIsHarmless)
{
    for (int i = 0; i < 500; ++i)
    {
        const HANDLE thread = begin([](void*) { return 1u; });
        ASSERT_NE(thread, nullptr);
        EXPECT_TRUE(TerminateThread(thread, 2));
        EXPECT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
        const DWORD code = exit_code(thread);
        EXPECT_TRUE(code == 1 || code == 2) << code;
        EXPECT_TRUE(TerminateThread(thread, 3)) << "one that has ended already";
        EXPECT_EQ(exit_code(thread), code);
        CloseHandle(thread);
    }
}

TEST_F(Thread, AThreadThatCantBeMadeIsReported)
{
    PlinthTestFail("pthread_create", 1, 0, EAGAIN);
    errno = 0;
    EXPECT_EQ(begin(wait_for_event), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    SetLastError(0);
    EXPECT_EQ(CreateThread(
                  nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr),
              nullptr);
    EXPECT_NE(GetLastError(), 0u);
    EXPECT_EQ(begin(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Thread, APrioritySucceedsWhateverTheSystemAllows)
{
    PlinthTestFail("sched_setscheduler", 1, 0, EPERM);
    PlinthTestFail("setpriority", 1, 0, EACCES);
    EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL));
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const HANDLE thread = begin(wait_for_event, event);
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_NORMAL);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_LOWEST);
    SetEvent(event);
    expect_ends_with(thread, 7);
    EXPECT_FALSE(SetThreadPriority(event, THREAD_PRIORITY_LOWEST));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetThreadPriority(event), THREAD_PRIORITY_ERROR_RETURN);
    CloseHandle(event);

    PlinthTestFail("SetThreadPriority", 1, 1, static_cast<int>(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

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

#include "support/handles.h"

using test::error_of;
using test::Handle;

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

unsigned sleep_for_ever(void*)
{
    Sleep(INFINITE);
    return 0;
}

} // namespace

class Thread : public testing::Test
{
public:
    ~Thread() override { PlinthTestReset(); }
};

TEST_F(Thread, AHandleIsSignalledWithTheExitCode)
{
    const Handle event = test::new_event();
    unsigned id = 0;
    const HANDLE thread = begin(wait_for_event, event, &id);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, GetCurrentThreadId());
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    EXPECT_EQ(exit_code(thread), STILL_ACTIVE);
    SetEvent(event);
    expect_ends_with(thread, 7);
    DWORD (*const start)(void*) = [](void* value) { return *static_cast<DWORD*>(value); };
    DWORD value = 0xFFFFFFFE;
    expect_ends_with(CreateThread(nullptr, 0, start, &value, 0, nullptr), value);
}

TEST_F(Thread, AThreadMayEndItselfFromWithin)
{
    expect_ends_with(begin([](void*) -> unsigned { return _endthreadex(9), 1; }), 9);
    expect_ends_with(
        begin([](void*) -> unsigned { return TerminateThread(GetCurrentThread(), 10), 1; }), 10);
    // Another library's way out: the handle is signalled nevertheless.
    expect_ends_with(begin([](void*) -> unsigned { pthread_exit(nullptr); }), 0);
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

TEST_F(Thread, TerminationEndsAThreadThatSpinsOrIsInABlockingCall)
{
    std::atomic<bool> running = false;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Handle door(CreateEventA(nullptr, FALSE, FALSE, "door"));
    const std::pair<unsigned (*)(void*), void*> starts[] = {{spin, &running},
                                                            {read_pipe, &ends[0]},
                                                            {sleep_for_ever, nullptr},
                                                            {wait_for_event, HANDLE{door}}};
    for (const bool blocked : {false, true})
        for (const auto& [start, argument] : starts)
        {
            sigset_t signals;
            sigset_t former;
            blocked ? sigfillset(&signals) : sigemptyset(&signals);
            pthread_sigmask(SIG_SETMASK, &signals, &former);
            const HANDLE thread = begin(start, argument);
            pthread_sigmask(SIG_SETMASK, &former, nullptr);
            while (!running) // the first
                Sleep(0);
            EXPECT_TRUE(TerminateThread(thread, 3));
            expect_ends_with(thread, 3);
        }
    close(ends[0]);
    close(ends[1]);
    door.close();
    const Handle anew(CreateEventA(nullptr, FALSE, FALSE, "door"));
    EXPECT_EQ(anew.error(), ERROR_SUCCESS) << "a terminated waiter keeps nothing alive";
}

TEST_F(Thread, TerminationBesideAConcurrentEndIsHarmless)
{
    for (int i = 0; i < 500; ++i)
    {
        const Handle thread(begin([](void*) { return 1u; }));
        ASSERT_TRUE(thread);
        EXPECT_TRUE(TerminateThread(thread, 2));
        EXPECT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
        const DWORD code = exit_code(thread);
        EXPECT_TRUE(code == 1 || code == 2) << code;
        EXPECT_TRUE(TerminateThread(thread, 3)) << "one that has ended already";
        EXPECT_EQ(exit_code(thread), code);
    }
}

TEST_F(Thread, AThreadThatCantBeMadeIsReported)
{
    PlinthTestFail("pthread_create", 1, 0, EAGAIN);
    errno = 0;
    EXPECT_EQ(begin(wait_for_event), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    DWORD (*const start)(void*) = [](void*) { return DWORD{0}; };
    EXPECT_EQ(error_of(CreateThread(nullptr, 0, start, nullptr, 0, nullptr)),
              ERROR_NO_SYSTEM_RESOURCES);
    EXPECT_EQ(error_of(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr)),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(begin(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Thread, APrioritySucceedsWhateverTheSystemAllows)
{
    PlinthTestFail("sched_setscheduler", 1, 0, EPERM);
    PlinthTestFail("setpriority", 1, 0, EACCES);
    EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL));
    const Handle event = test::new_event();
    const HANDLE thread = begin(wait_for_event, event);
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_NORMAL);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_LOWEST);
    SetEvent(event);
    expect_ends_with(thread, 7);
    EXPECT_EQ(error_of(SetThreadPriority(event, THREAD_PRIORITY_LOWEST)), ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetThreadPriority(event), THREAD_PRIORITY_ERROR_RETURN);
    PlinthTestFail("SetThreadPriority", 1, 1, static_cast<int>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(error_of(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL)),
              ERROR_ACCESS_DENIED);
}

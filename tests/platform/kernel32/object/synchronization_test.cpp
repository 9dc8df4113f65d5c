// Handles, events within one process, waiting and critical sections; threads: their handles, their
// ends, termination by other threads, and their priorities.
#include <csignal>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <process.h>

#include "support/handles.h"

using test::error_of;
using test::Handle;
using test::new_event;

namespace
{

bool another_thread_gets(CRITICAL_SECTION* section)
{
    BOOL got = FALSE;
    const auto try_once = [&]
    {
        got = TryEnterCriticalSection(section);
        if (got)
            LeaveCriticalSection(section);
    };
    std::thread(try_once).join();
    return got;
}

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

TEST(Handles, StaleForeignAndOtherKindsAreRefused)
{
    Handle event = new_event(true);
    const HANDLE stale = event;
    EXPECT_TRUE(SetEvent(stale));
    EXPECT_TRUE(event.close());
    // The slot is used again, but the old handle stays invalid.
    const Handle next = new_event(true);
    EXPECT_NE(HANDLE{next}, stale);
    const Handle mapping(
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr));
    ASSERT_TRUE(mapping);
    for (const HANDLE bad : {stale, HANDLE{mapping}, HANDLE{nullptr},
                             reinterpret_cast<HANDLE>(uintptr_t{0x123456789})})
    {
        SCOPED_TRACE(bad);
        EXPECT_EQ(error_of(SetEvent(bad)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(WaitForSingleObject(bad, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_TRUE(bad == mapping || error_of(CloseHandle(bad)) == ERROR_INVALID_HANDLE);
    }
    // The pseudo-handles of the process and the thread, which closing doesn't change.
    for (const HANDLE own : {INVALID_HANDLE_VALUE, GetCurrentProcess(), GetCurrentThread()})
    {
        EXPECT_TRUE(CloseHandle(own));
        EXPECT_EQ(WaitForSingleObject(own, 1), WAIT_TIMEOUT);
        EXPECT_EQ(error_of(SetEvent(own)), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(WaitForSingleObject(next, 0), WAIT_TIMEOUT);
    EXPECT_FALSE(FindClose(next)) << "of another kind";
}

TEST(Handles, EachNamesItsOwnObjectHoweverManyThereAre)
{
    std::vector<HANDLE> handles;
    for (int i = 0; i < 5000; ++i)
        handles.push_back(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    for (size_t i = 0; i < handles.size(); i += 2)
        EXPECT_TRUE(SetEvent(handles[i]));
    for (size_t i = 0; i < handles.size(); ++i)
    {
        ASSERT_EQ(WaitForSingleObject(handles[i], 0), i % 2 == 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        EXPECT_TRUE(CloseHandle(handles[i]));
    }
}

TEST(Handles, ConcurrentUseAndClosingNeverMeetsADeadObject)
{
    const auto make = [] { return CreateEventA(nullptr, TRUE, FALSE, nullptr); };
    std::atomic<HANDLE> shared{make()};
    std::atomic<bool> done{false};
    std::atomic<long> used{0};
    std::vector<std::jthread> users;
    for (int i = 0; i < 3; ++i)
        users.emplace_back(
            [&]
            {
                while (!done)
                    used += SetEvent(shared) && WaitForSingleObject(shared, 0) <= WAIT_TIMEOUT;
            });
    for (int i = 0; i < 3000 || used == 0; ++i)
        EXPECT_TRUE(CloseHandle(shared.exchange(make())));
    done = true;
    users.clear();
    EXPECT_TRUE(CloseHandle(shared));
}

TEST(Event, ASignalIsTakenByOneWaitOrStaysUntilItIsReset)
{
    const Handle once = new_event(false, true);
    EXPECT_EQ(WaitForSingleObject(once, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(once, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(once));
    EXPECT_TRUE(SetEvent(once)); // signals don't add up
    EXPECT_EQ(WaitForSingleObject(once, 1000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(once, 1), WAIT_TIMEOUT);
    const Handle lasting = new_event(true);
    EXPECT_TRUE(SetEvent(lasting));
    EXPECT_EQ(WaitForSingleObject(lasting, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(lasting, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(lasting));
    EXPECT_EQ(WaitForSingleObject(lasting, 1), WAIT_TIMEOUT);
}

TEST(Event, OfConcurrentWaitersEachSignalReleasesOneOrAll)
{
    constexpr int waiters = 16;
    for (const bool manual_reset : {false, true})
    {
        SCOPED_TRACE(manual_reset);
        const Handle event = new_event(manual_reset);
        const Handle released = new_event();
        std::atomic<int> count = 0;
        std::vector<std::jthread> threads;
        for (int i = 0; i < waiters; ++i)
            threads.emplace_back(
                [&]
                {
                    count += WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0;
                    SetEvent(released);
                });
        for (int i = 1; i <= waiters && !manual_reset; ++i)
        {
            SetEvent(event);
            ASSERT_EQ(WaitForSingleObject(released, INFINITE), WAIT_OBJECT_0);
            EXPECT_EQ(count, i);
            EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT) << "the signal was taken";
        }
        if (manual_reset)
            SetEvent(event);
        threads.clear();
        EXPECT_EQ(count, waiters);
    }
}

TEST(Event, ASignalBesideAConcurrentTimeOutIsNotLost)
{
    const Handle event = new_event();
    for (int i = 0; i < 200; ++i)
    {
        std::thread setter(SetEvent, HANDLE{event});
        // The time-out comes at about the same time as the signal: exactly one of the waits must
        // take it.
        int taken = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        if (!taken)
            taken += WaitForSingleObject(event, 1) == WAIT_OBJECT_0;
        setter.join();
        taken += WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        ASSERT_EQ(taken, 1);
    }
}

TEST(CriticalSection, ItsOwnerEntersAgainAndLeavesAsOften)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_FALSE(another_thread_gets(&section));
        LeaveCriticalSection(&section);
    }
    EXPECT_TRUE(another_thread_gets(&section));
    DeleteCriticalSection(&section);
}

TEST(CriticalSection, ConcurrentOwnersComeOneByOne)
{
    constexpr int threads = 8;
    constexpr int rounds = 5'000;
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int count = 0; // not atomic: the section protects it
    std::vector<std::jthread> owners;
    for (int i = 0; i < threads; ++i)
        owners.emplace_back(
            [&]
            {
                for (int k = 0; k < rounds; ++k)
                {
                    EnterCriticalSection(&section);
                    ++count;
                    if (k % 64 == 0)
                        Sleep(0); // so that others meet the lock
                    LeaveCriticalSection(&section);
                }
            });
    owners.clear();
    EXPECT_EQ(count, threads * rounds);
    DeleteCriticalSection(&section);
}

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

TEST_F(Thread, AHandleIsSignalledAfterTheThreadsObjectsAreGone)
{
    static std::atomic<bool> s_gone{false};
    struct Slow
    {
        int used = 0;
        ~Slow()
        {
            for (int i = 0; i < 100; ++i)
                std::this_thread::yield();
            s_gone = true;
        }
    };
    const auto use = [](void*)
    {
        static thread_local Slow t_slow;
        return static_cast<unsigned>(t_slow.used = 5);
    };
    expect_ends_with(begin(use), 5);
    EXPECT_TRUE(s_gone);
}

TEST_F(Thread, AThreadMayEndItselfFromWithin)
{
    expect_ends_with(begin([](void*) -> unsigned { return _endthreadex(9), 1; }), 9);
    expect_ends_with(
        begin([](void*) -> unsigned { return TerminateThread(GetCurrentThread(), 10), 1; }), 10);
    // Ended past the interface, by the C library: the handle is signalled nevertheless.
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
            while (!running) // only spin sets it, once
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
}

TEST_F(Thread, APrioritySucceedsWhateverTheSystemAllows)
{
    PlinthTestFail("sched_setscheduler", 1, 0, EPERM);
    PlinthTestFail("setpriority", 1, 0, EACCES);
    EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL));
    const Handle event = test::new_event();
    const HANDLE thread = begin(wait_for_event, event);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_LOWEST);
    SetEvent(event);
    expect_ends_with(thread, 7);
}

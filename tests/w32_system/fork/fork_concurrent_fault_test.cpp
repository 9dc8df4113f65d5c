// Children of a program whose other threads use the library.
#include <csignal>
#include <semaphore>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <plinth_w32_pthreadVC.h>
#include <plinth_w32_system.h>

#include "families.h"
#include "support/files.h"
#include "support/instead.h"
#include "support/loopback.h"
#include "support/soak.h"

namespace
{

constexpr int forks_in_a_row = 20;

std::atomic<bool> g_exits{false}; // an exiting child, which must not wait
constexpr int waited = 3;

// A child that exits in a callback can't free the memory of its parent's other threads.
std::atomic<bool> g_is_child{false};

} // namespace

extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return g_is_child;
}

// Replaces the pause between two checks whether the workers have ended.
TEST_INSTEAD int pthread_delay_np(const timespec* interval)
{
    static auto* const real = TEST_REAL(pthread_delay_np);
    if (g_exits)
        _exit(waited);
    return real(interval);
}

// A fork's pause between two looks at whether loads have ended.
std::atomic<bool> g_is_busy{false}; // the machine: others run meanwhile
TEST_INSTEAD int nanosleep(const timespec* time, timespec* rest)
{
    static auto* const real = TEST_REAL(nanosleep);
    constexpr timespec long_pause = {0, 60'000'000};
    return real(g_is_busy ? &long_pause : time, rest);
}

namespace
{

// Threads that run a family's rounds until the end of the scope.
class Hammer
{
public:
    explicit Hammer(const test::Family& family)
    {
        int started = 0;
        for (std::jthread& each : m_threads)
        {
            if (family.alone && &each != m_threads)
                break;
            each = std::jthread(
                [&](const std::stop_token& stop)
                {
                    ++m_begun;
                    while (!stop.stop_requested())
                        test::run_round(family);
                });
            ++started;
        }
        while (m_begun < started) // a starting thread allocates outside the rounds
            std::this_thread::yield();
    }

private:
    std::atomic<int> m_begun{0};
    std::jthread m_threads[2];
};

// AddressSanitizer's allocator leaves its locks in the child as they were in the parent.
#if !defined(__SANITIZE_ADDRESS__)
TEST(ForkConcurrent, AChildDoesEverythingWhateverItsParentsThreadsAreAt)
{
    PlinthTestFail("newlocale", 1, 0, ENOMEM); // the locale is read anew each time
    PlinthTestSetForkLooks(UINT32_MAX);        // each load here ends
    for (size_t i = 0; i < test::family_count; ++i)
    {
        SCOPED_TRACE(test::families[i].name);
        const Hammer hammer(test::families[i]);
        int result = 0;
        for (int fork = 0; fork < forks_in_a_row && result == 0; ++fork)
            result = test::in_fork(test::child_does_everything);
        EXPECT_EQ(result, 0);
    }
}

#if !defined(__SANITIZE_THREAD__) // it ends a child that starts threads
TEST(ForkConcurrent, AChildOfAChildDoesEverythingToo)
{
    const Hammer trace(test::families[1]);
    const Hammer timers(test::families[9]);
    const auto child = []
    {
        const Hammer pool(test::families[10]);
        return test::in_fork(test::child_does_everything);
    };
    for (int fork = 0; fork < forks_in_a_row; ++fork)
        ASSERT_EQ(test::in_fork([&] { return test::in_fork(child); }), 0);
}
#endif
#endif

// A call that is held at one of its operations, with the locks that it holds there. A fork may wait
// for such a call, but not for ever: the call is held until the fork is done, or for longest_hold.
std::binary_semaphore g_arrived{0};
std::binary_semaphore g_forked{0};
constexpr auto longest_hold = std::chrono::milliseconds(300);
constexpr auto guard_time = std::chrono::seconds(10);

std::atomic<bool> g_is_held{false};

void hold()
{
    g_is_held = true;
    g_arrived.release();
    static_cast<void>(g_forked.try_acquire_for(longest_hold));
    g_is_held = false;
}

void change_unit()
{
    setenv("LC_TIME", "C.UTF-8", 1);
    wchar_t date[100];
    wchar_t time[100];
    QV_GetLocaleDateTimeFormat(date, 100, time, 100);
}

TEST(ForkConcurrent, AChildDoesEverythingInEachStateOfACall)
{
    const auto log = [] { QV_Log(L"held\r\n"); };
    const auto open_log = [] { CQvLogFile::CloseLog(), CQvLogFile::Detail(); };
    const auto clear_log = [] { CQvLogFile::ClearLog(); };
    const auto trace = [] { DiagOutputExW(L"held"); };
    const auto read_registry = []
    {
        test::families[5].round(); // its last step makes the next call read the hive
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Fork", 0, KEY_READ, &key);
        RegCloseKey(key);
    };
    const auto write_registry = [] { test::families[5].round(); };
    const auto load = [] { FreeLibrary(LoadLibraryW(L"libBrokenLocale.so.1")); };
    const auto name_module = [] { test::families[7].round(); };
    const auto lock_file = [] { test::families[3].round(); };
    const struct
    {
        const char* name;
        void (*call)();
        const char* operation;
        unsigned nth;
    } rows[] = {
        {"record being written", log, "write", 1},
        {"log being opened", open_log, "open", 1},
        {"log being opened, later", open_log, "open", 3},
        {"log being cleared", clear_log, "close", 1},
        {"record being traced", trace, "write", 1},
        {"registry being read", read_registry, "stat", 1},
        {"registry being written", write_registry, "rename", 1},
        {"registry being written, at its end", write_registry, "close", 2},
        {"module being loaded", load, "dlopen", 1},
        {"modules being looked through", name_module, "dl_iterate_phdr", 1},
        {"file being locked", lock_file, "fcntl", 1},
        {"formats being read", change_unit, "newlocale", 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        PlinthTestBefore(row.operation, row.nth, hold);
        std::jthread other(row.call);
        const bool arrived = g_arrived.try_acquire_for(guard_time);
        EXPECT_TRUE(arrived) << "the call has no such operation";
        EXPECT_EQ(test::in_fork(
                      []
                      {
                          PlinthTestReset();
                          return test::child_does_everything();
                      }),
                  0);
        g_forked.release();
        other.join();
        PlinthTestReset();
        static_cast<void>(g_forked.try_acquire());
    }
}

TEST(ForkConcurrent, OnABusyMachineTheForkWaitsLongerForAModuleThatIsBeingLoaded)
{
    PlinthTestBefore("dlopen", 1, hold);
    std::jthread other([] { FreeLibrary(LoadLibraryW(L"libBrokenLocale.so.1")); });
    EXPECT_TRUE(g_arrived.try_acquire_for(guard_time));
    g_is_busy = true;
    EXPECT_EQ(test::in_fork([] { return 0; }), 0);
    g_is_busy = false;
    EXPECT_FALSE(g_is_held);
    g_forked.release();
}

// Forks within a callback: the child does everything, there and then. What it returned, or -1.
std::atomic<int> g_result{-1};
std::counting_semaphore<> g_called{0};

void fork_within()
{
    if (g_result == -1)
        g_result = test::in_fork(test::child_does_everything);
    g_called.release();
}

// The same, but the child returns from the callback into the library's thread, which has nothing
// more to do there: the child then ends with the thread.
[[maybe_unused]] void return_within()
{
    if (g_result != -1)
        return;
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(30);
        g_is_child = true;
        g_result = 0;
        return;
    }
    int status = -1;
    waitpid(child, &status, 0);
    g_result = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    g_called.release();
}

void (*g_within)() = fork_within;

int timer_callback(void*)
{
    g_within();
    return 0;
}

void in_timer(int precision)
{
    QV_SetThreadedTimer(timer_callback, nullptr, 1.0, 1, precision, 1);
    g_called.acquire();
}

void in_thread_timer()
{
    in_timer(QV_PRECISION_SLEEP);
}

void in_multimedia_timer()
{
    in_timer(QV_PRECISION_MM_1);
}

void pump()
{
    MSG message;
    while (!g_called.try_acquire() && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

void in_posted_timer()
{
    QV_SetPostedTimer(timer_callback, nullptr, 1.0, 1);
    pump();
}

void in_window_procedure()
{
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpszClassName = L"Forker";
    given.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT
    {
        if (message != WM_USER)
            return DefWindowProcW(window, message, wParam, lParam);
        g_within();
        return 0;
    };
    RegisterClassExW(&given);
    const HWND window =
        CreateWindowExW(0, L"Forker", L"", 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    PostMessageW(window, WM_USER, 0, 0);
    pump();
    DestroyWindow(window);
}

void in_transfer()
{
    const test::Wide path = test::windows_form(test::root() + "/transfer");
    QvFile file = nullptr;
    QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS, QV_SHARE_READ,
                QV_SECURITY_DEFAULT, &file);
    const QvAsyncIo io = {0, nullptr, [](int, uint64_t, void*) { g_within(); }};
    QV_WriteFile(file, "text", 4, nullptr, &io);
    g_called.acquire();
    QV_CancelAsyncIO(file);
    QV_CloseFile(file);
}

void in_pool()
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    pool->MakeCallFromThreadPool([](void*) -> void* { return g_within(), nullptr; }, nullptr);
    g_called.acquire();
    CThreadPool::DestroyThreadPool(pool);
}

void in_capture()
{
    const CQvDebugOutputCapture capture([](const wchar_t*) { g_within(); });
    OutputDebugStringA("text");
    g_called.acquire();
}

const struct
{
    const char* name;
    void (*begin)();
    bool own_thread; // called on a thread of the library
} callbacks[] = {
    {"thread timer", in_thread_timer, true},
    {"multimedia timer", in_multimedia_timer, true},
    {"posted timer", in_posted_timer, false},
    {"window procedure", in_window_procedure, false},
    {"transfer", in_transfer, true},
    {"pool", in_pool, true},
    {"capture", in_capture, true},
};

void expect_good_fork(void (*begin)())
{
    while (g_called.try_acquire()) // calls that came after the end of the last one
    {
    }
    g_result = -1;
    begin();
    EXPECT_EQ(g_result, 0);
}

TEST(ForkConcurrent, AChildOfACallbackDoesEverything)
{
    for (const auto& row : callbacks)
    {
        SCOPED_TRACE(row.name);
        expect_good_fork(row.begin);
    }
}

// ThreadSanitizer ends children that start or end threads.
#if !defined(__SANITIZE_THREAD__)
TEST(ForkConcurrent, AChildThatReturnsFromACallbackEndsWithTheLibrarysThread)
{
    g_within = return_within;
    for (const auto& row : callbacks)
    {
        if (!row.own_thread)
            continue;
        SCOPED_TRACE(row.name);
        expect_good_fork(row.begin);
    }
}

// The child ends or frees everything that the parent had at the time of the fork.
TEST(ForkConcurrent, AChildsOwnTimersAndPoolsWorkBesideItsParents)
{
    std::atomic<int> calls{0};
    const auto call = [](void* to) { return ++*static_cast<std::atomic<int>*>(to), 1; };
    const auto timer =
        static_cast<unsigned>(QV_SetThreadedTimer(call, &calls, 1.0, 0, QV_PRECISION_MM_1, 1));
    const auto thread_timer =
        static_cast<unsigned>(QV_SetThreadedTimer(call, &calls, 1.0, 0, QV_PRECISION_SLEEP, 1));
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::binary_semaphore done{0};
    const auto wait = [](void* on) -> void*
    { return static_cast<std::binary_semaphore*>(on)->acquire(), nullptr; };
    pool->MakeCallFromThreadPool(wait, &done);
    auto* const capture = new CQvDebugOutputCapture([](const wchar_t*) {});
    const auto child = [&]
    {
        // Timers that run in the parent have ended in the child.
        if (QV_WaitForTimer(timer) != QV_OK || QV_WaitForTimer(thread_timer) != QV_OK)
            return 1;
        const int before = calls;
        if (test::child_does_everything() != 0 || calls != before)
            return 2;
        std::binary_semaphore called{1};
        if (pool->MakeCallFromThreadPool(wait, &called) != QV_OK)
            return 3;
        CThreadPool::DestroyThreadPool(pool);
        delete capture;
        const HANDLE listener = CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY");
        return GetLastError() == ERROR_ALREADY_EXISTS && CloseHandle(listener) ? 0 : 4;
    };
    EXPECT_EQ(test::in_fork(child), 0);
    EXPECT_EQ(test::in_fork(child), 0) << "the first child left its parent's objects alone";
    done.release();
    CThreadPool::DestroyThreadPool(pool);
    for (const unsigned id : {timer, thread_timer})
    {
        QV_KillTimerAsync(id);
        EXPECT_EQ(QV_WaitForTimer(id), QV_OK);
    }
    delete capture;
}
#endif

TEST(ForkConcurrent, AChildsExitWaitsForNoWorkerOfItsParent)
{
    std::binary_semaphore called{0};
    std::binary_semaphore held{0};
    const auto hold_callback = [&] { called.release(), held.acquire(); };
    std::function<void()> callback = hold_callback;
    test::OpenedFile file(test::path_in(test::make_folder("exit"), "file"),
                          QV_OPEN_WRITE | QV_OPEN_CREATE);
    const QvAsyncIo io = {0, &callback, [](int, uint64_t, void* to) {
                              (*static_cast<std::function<void()>*>(to))();
                          }};
    ASSERT_EQ(QV_WriteFile(file, "text", 4, nullptr, &io), QV_OK);
    called.acquire();
    EXPECT_EQ(test::in_fork(
                  []() -> int
                  {
                      g_exits = true;
                      std::exit(0);
                  }),
              0);
    held.release();
    QV_CancelAsyncIO(file);
}

TEST(ForkConcurrent, AListenerThatWasKilledIsGoneThoughItsChildLives)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t listener = fork();
    if (listener == 0)
    {
        const CQvDebugOutputCapture capture([](const wchar_t*) {});
        if (fork() == 0)
        {
            const pid_t child = getpid();
            static_cast<void>(!write(ends[1], &child, sizeof child));
        }
        for (;;)
            pause();
    }
    pid_t child = 0;
    ASSERT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    kill(listener, SIGKILL);
    waitpid(listener, nullptr, 0);
    std::binary_semaphore arrived{0};
    static std::binary_semaphore* released = &arrived;
    {
        const CQvDebugOutputCapture capture([](const wchar_t*) { released->release(); });
        OutputDebugStringA("text");
        EXPECT_TRUE(arrived.try_acquire_for(guard_time));
    }
    kill(child, SIGKILL);
    for (const int end : ends)
        close(end);
}

// Works like a server: its children are killed and replaced.
int serve()
{
    for (;;)
        if (test::child_does_everything() != 0)
            return 1;
}

TEST(ForkConcurrent, APreForkingServersChildrenAreKilledAndMadeAnew)
{
    constexpr int children = 8;
    constexpr uint64_t least_rounds = 5;
    const test::SoakTime soak;
    ASSERT_EQ(QV_InitSocket(), QV_OK);
    const test::Listener listener;
    const Hammer trace(test::families[1]);
    const Hammer timers(test::families[9]);
    uint64_t rounds = 0;
    do
    {
        pid_t ids[children];
        for (pid_t& id : ids)
        {
            id = test::fork_beside_rounds();
            if (id == 0)
                _exit(serve());
        }
        EXPECT_EQ(test::in_fork(test::child_does_everything), 0);
        for (const pid_t id : ids)
        {
            int status = 0;
            kill(id, SIGKILL);
            waitpid(id, &status, 0);
            EXPECT_TRUE(WIFSIGNALED(status)) << "it went on until it was killed";
        }
        EXPECT_EQ(test::try_all_families(), "");
    } while (++rounds < least_rounds || (soak.goes_on() && !HasFailure()));
    QV_DoneSocket();
    soak.report("children of a server killed", rounds * children);
}

} // namespace

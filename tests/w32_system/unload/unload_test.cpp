// Unloading the library while it has workers of asynchronous transfers, right after the last call
// of a multimedia timer, right after the end of a thread pool, and after it has shown debug
// windows. This program isn't linked to the library, so that closing it really unmaps it.

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <process.h>

#include <plinth_w32_pthreadVC.h>
#include <plinth_w32_system.h>

#include "support/entries.h"
#include "support/environment.h"
#include "support/instead.h"
#include "support/soak.h"
#include "w32_system/debugging/debugwnd/debug_windows.h"

// Locks that are made at their first use are never destroyed: each load of the library leaves its
// own. A message timer whose thread has ended is never freed either.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:TakeMemory\nleak:abandon_message_timer\n";
}

namespace
{

thread_local bool t_unloads = false; // the thread that is in FreeLibrary

class Library
{
public:
    Library() : m_handle(LoadLibraryW(test::windows_form(PLINTH_LIBRARY)))
    {
        EXPECT_NE(m_handle, nullptr) << GetLastError();
        m_last = m_handle;
    }
    ~Library() { unload(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void unload()
    {
        if (m_handle)
        {
            // CQvLogFile::CloseLog: otherwise an open log stays open.
            get<int()>("_ZN10CQvLogFile8CloseLogEv")();
            t_unloads = true;
            EXPECT_TRUE(FreeLibrary(m_handle));
            t_unloads = false;
        }
        m_handle = nullptr;
    }
    static bool is_loaded()
    {
        void* const found = dlopen(PLINTH_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        if (found)
            dlclose(found);
        return found != nullptr;
    }
    void* base() const { return m_handle; }
    template <class Function> Function* get(const char* name) const
    {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(m_handle, name)));
    }
    // A function that the library uses and this program replaces, as the library would find it.
    // Unlike the library it stays loaded.
    template <class Function> static Function* needed(const char* name)
    {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(m_last, name)));
    }

private:
    HMODULE m_handle;
    static inline HMODULE m_last = nullptr;
};

// Whether a call through the library's code is held while the library is unloaded.
std::atomic<bool> g_held{false};

// The progress of the thread that unloads.
enum class Unload
{
    none,
    begins,
    sets_the_fence, // a timer whose call comes after the held one
    waits,
    done,
};
std::atomic<Unload> g_unload{Unload::none};
std::atomic<bool> g_came_back_early{false}; // from the wait, with the call still held

void reach(Unload next)
{
    g_unload = next;
    g_unload.notify_all();
}

void stay_held()
{
    g_held = true;
    g_held.notify_all();
    g_held.wait(true);
}

// Unloads the library, and lets the held call return once the unloading waits for it.
void expect_unloading_waits(Library& library)
{
    reach(Unload::begins);
    std::thread closer(
        [&]
        {
            library.unload();
            reach(Unload::done);
        });
    for (Unload now = g_unload; now < Unload::waits; now = g_unload)
        g_unload.wait(now);
    const bool waits = g_unload == Unload::waits;
    EXPECT_TRUE(waits) << "the call would return into code that has gone"; // if not, it stays held
    if (waits)
    {
        g_held = false;
        g_held.notify_all();
    }
    closer.join();
    EXPECT_FALSE(g_came_back_early);
    g_unload = Unload::none;
    EXPECT_FALSE(Library::is_loaded());
}

// For the thread that unloads, each reading of the replaced clock is an hour later, and its checks
// whether the workers have ended are counted.
thread_local bool t_flies = false;
std::atomic<int> g_looks{0};

// The next SetEvent, which wakes the threads that wait for the timer, is held after its work: the
// system's thread is then still returning through the library's code.
std::atomic<bool> g_hold{false};

thread_local bool t_is_worker = false; // of the pool
thread_local bool t_is_timer = false;
thread_local bool t_waits_for_timer = false;
std::atomic<bool> g_waits_for_timer{false};

// The function that the library would call; null for the other tests, which end no pools.
void (*g_await)() = nullptr;

// For unloading with an open window: waits that timed out, and threads of the program that begin or
// end meanwhile.
constexpr DWORD long_wait = 1000; // ms; a shorter wait may time out,
constexpr DWORD sooner = 5;       // and does so after this time
std::atomic<int> g_waits_in_vain{0};
bool g_threads_meet = false; // at the next removal of the window class, the last step
std::atomic<bool> g_begun{false};
HANDLE g_begins = nullptr;
HANDLE g_ends = nullptr;       // begun before
HANDLE g_terminated = nullptr; // begun before
std::atomic<int> g_wait{0};    // number of threads that have begun before and wait
std::atomic<bool> g_may_end{false};

// How the next threads of the library start.
enum class Start
{
    plain,
    held,      // it doesn't begin
    in_unload, // it is started when the unloading is under way
    endless,   // it leaves the library's code and doesn't end
    late,      // it doesn't begin until g_may_begin
    lost,      // it ends without running the library's code, as if it were terminated
};
std::atomic<Start> g_start{Start::plain};
std::atomic<int> g_plain_starts{0}; // come before
std::atomic<int> g_endless{0};      // threads that have left the library's code and don't end
std::atomic<bool> g_may_begin{false};
std::atomic<bool> g_is_starting{false};
std::atomic<bool> g_unloading{false};

HANDLE start_thread(unsigned (*procedure)(void*))
{
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, procedure, nullptr, 0, nullptr));
}

void await_end()
{
    ++g_wait;
    g_may_end.wait(false);
}

void start_threads_before()
{
    g_ends = start_thread(
        [](void*)
        {
            await_end();
            return 1u;
        });
    g_terminated = start_thread(
        [](void*)
        {
            await_end();
            TerminateThread(GetCurrentThread(), 1);
            return 2u;
        });
    while (g_wait < 2)
        std::this_thread::yield();
}

void meet_threads_inside()
{
    g_begins = start_thread(
        [](void*)
        {
            g_begun = true;
            return 1u;
        });
    g_may_end = true;
    g_may_end.notify_all();
    EXPECT_EQ(WaitForSingleObject(g_terminated, 10'000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(g_ends, 50), DWORD{WAIT_TIMEOUT});
    EXPECT_FALSE(g_begun);
}

} // namespace

// Looked up beforehand: that isn't possible while the library is unloaded.
static auto* const g_begin_thread = TEST_REAL(_beginthreadex);
static auto* const g_wait_for_object = TEST_REAL(WaitForSingleObject);

TEST_INSTEAD uintptr_t _beginthreadex(void* security, unsigned size, unsigned (*start)(void*),
                                      void* argument, unsigned flags, unsigned* id)
{
    const Start how = g_plain_starts-- > 0 ? Start::plain : g_start.load();
    if (how == Start::in_unload)
    {
        g_is_starting = true;
        g_is_starting.notify_all();
        g_unloading.wait(false);
    }
    static constexpr auto never = [](void*)
    {
        std::atomic<bool>(false).wait(false);
        return 0u;
    };
    static std::pair<unsigned (*)(void*), void*> s_given;
    static constexpr auto without_end = [](void*)
    {
        s_given.first(s_given.second);
        ++g_endless;
        return never(nullptr);
    };
    static constexpr auto late = [](void*)
    {
        g_may_begin.wait(false);
        return s_given.first(s_given.second);
    };
    if (how == Start::endless)
        s_given = {std::exchange(start, without_end), argument};
    if (how == Start::late)
        s_given = {std::exchange(start, late), argument};
    if (how == Start::lost)
        start = [](void*) { return 0u; };
    return g_begin_thread(security, size, how == Start::held ? +never : start, argument, flags, id);
}

TEST_INSTEAD BOOL UnregisterClassW(LPCWSTR name, HINSTANCE module)
{
    if (std::exchange(g_threads_meet, false))
        meet_threads_inside();
    return TEST_REAL(UnregisterClassW)(name, module);
}

// Short, so that polling code polls more often.
TEST_INSTEAD void Sleep(DWORD)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_INSTEAD BOOL QueryPerformanceCounter(LARGE_INTEGER* count)
{
    static thread_local LONGLONG t_ahead = 0; // ns
    constexpr LONGLONG hour = 3'600'000'000'000;
    const BOOL result = TEST_REAL(QueryPerformanceCounter)(count);
    if (t_flies)
        t_ahead += hour;
    count->QuadPart += t_ahead;
    return result;
}

TEST_INSTEAD int pthread_delay_np(const timespec* interval)
{
    nanosleep(interval, nullptr);
    if (t_flies)
        ++g_looks;
    g_looks.notify_all();
    return 0;
}

TEST_INSTEAD BOOL SetEvent(HANDLE event)
{
    static auto* const real = TEST_REAL(SetEvent);
    const BOOL result = real(event);
    if (t_unloads)
    {
        g_unloading = true;
        g_unloading.notify_all();
    }
    if (g_hold.exchange(false))
        stay_held();
    return result;
}

TEST_INSTEAD MMRESULT timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK callback,
                                   DWORD_PTR user, UINT flags)
{
    static auto* const real = TEST_REAL(timeSetEvent);
    if (g_unload == Unload::begins)
        reach(Unload::sets_the_fence);
    return real(delay, resolution, callback, user, flags);
}

// The timer's thread is held on its way back through the library's code.
TEST_INSTEAD int pthread_cond_broadcast(pthread_cond_t* condition)
{
    static auto* const real = TEST_REAL(pthread_cond_broadcast);
    const int result = real(condition);
    if (t_is_timer)
        stay_held();
    return result;
}

TEST_INSTEAD DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    const bool for_thread = t_unloads && g_unload == Unload::begins && milliseconds >= long_wait;
    const bool fence = for_thread || g_unload == Unload::sets_the_fence;
    if (fence)
        reach(Unload::waits);
    if (t_waits_for_timer)
    {
        g_waits_for_timer = true;
        g_waits_for_timer.notify_all();
    }
    const bool is_short = t_unloads && milliseconds < long_wait;
    const DWORD result =
        g_wait_for_object(object, is_short ? std::min(milliseconds, sooner) : milliseconds);
    if (fence && g_held)
        g_came_back_early = true;
    g_waits_in_vain += t_unloads && result == WAIT_TIMEOUT && milliseconds >= long_wait;
    return result;
}

// Holds the last steps of a worker that has left its pool.
TEST_INSTEAD int pthread_cond_destroy(pthread_cond_t* condition)
{
    static auto* const real = TEST_REAL(pthread_cond_destroy);
    if (t_is_worker)
        stay_held();
    return real(condition);
}

TEST_INSTEAD void pthread_await_ending_np()
{
    if (!g_await)
        return;
    reach(Unload::waits);
    g_await();
    if (g_held)
        g_came_back_early = true;
}

namespace
{

// The number of descriptors of files below a folder.
size_t open_files(const std::string& below)
{
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry, gone).string().starts_with(below);
    }
    return count;
}

// Counts callbacks, and holds them while held is set.
struct Callbacks
{
    static void on_copy(int status, uint64_t, uint64_t, void* self)
    {
        auto& calls = *static_cast<Callbacks*>(self);
        calls.ended = calls.ended || status != QV_ERR_INPROGRESS;
        ++calls.count;
        calls.count.notify_all();
        calls.held.wait(true);
    }
    void wait_for(unsigned calls)
    {
        for (unsigned now; (now = count) < calls;)
            count.wait(now);
    }
    std::atomic<unsigned> count = 0;
    std::atomic<bool> ended = false;
    std::atomic<bool> held = false;
};

class AsyncUnloadConcurrent : public testing::Test
{
protected:
    // A sanitizer may start a thread of its own with the program's first one; it must be counted.
    AsyncUnloadConcurrent()
    {
        std::thread([] {}).join();
        m_threads = test::threads_here();
    }

    // Copies a file of that many bytes, all holes.
    void start_copy(const Library& library, Callbacks& calls, int number, off_t size)
    {
        const std::string source = m_folder + "/source";
        if (!std::filesystem::exists(source))
            test::write_file(source, "");
        ASSERT_EQ(truncate(source.c_str(), size), 0);
        ASSERT_EQ(library.get<decltype(QV_CopyFile)>("QV_CopyFile")(
                      test::windows_form(source),
                      test::windows_form(m_folder + "/target" + std::to_string(number)), 0, nullptr,
                      Callbacks::on_copy, &calls),
                  QV_OK);
    }
    void expect_nothing_left()
    {
        EXPECT_FALSE(Library::is_loaded());
        // The kernel lists a thread for a moment after it was joined.
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (test::threads_here() > m_threads && std::chrono::steady_clock::now() < limit)
            std::this_thread::yield();
        EXPECT_EQ(test::threads_here(), m_threads);
        EXPECT_EQ(open_files(m_folder), 0u);
    }
    template <class Round> void repeat(Round round)
    {
        const test::SoakTime soak;
        uint64_t total = 0;
        do
            for (unsigned i = 0; i < 25 && !HasFailure(); ++i, ++total)
            {
                Library library;
                Callbacks calls;
                round(library, calls, i);
                expect_nothing_left();
            }
        while (soak.goes_on() && !HasFailure());
        soak.report("unloads", total);
    }
    const std::string m_folder = test::make_folder("unload");
    size_t m_threads = 0;
};

TEST_F(AsyncUnloadConcurrent, IdleWorkersAreGoneWithTheLibrary)
{
    repeat(
        [&](Library& library, Callbacks& calls, unsigned)
        {
            start_copy(library, calls, 0, 5'000);
            for (unsigned i = 1; !calls.ended; ++i)
                calls.wait_for(i);
            library.unload();
        });
}

TEST_F(AsyncUnloadConcurrent, TransfersInFlightEndWithTheLibraryAndCallBackNoMore)
{
    repeat(
        [&](Library& library, Callbacks& calls, unsigned round)
        {
            for (int number = 0; number < 4; ++number)
                start_copy(library, calls, number, off_t{1} << 40);
            calls.wait_for(1 + round);
            library.unload();
            EXPECT_FALSE(calls.ended);
        });
}

TEST_F(AsyncUnloadConcurrent, UnloadingWaitsForACallbackAsLongAsItTakes)
{
    Library library;
    Callbacks calls;
    calls.held = true;
    start_copy(library, calls, 0, off_t{1} << 40);
    calls.wait_for(1);
    std::atomic<bool> unloaded{false};
    std::thread closer(
        [&]
        {
            t_flies = true;
            library.unload();
            unloaded = true;
        });
    // Hours longer than the limit at the end of a process.
    for (int now; (now = g_looks) < 3;)
        g_looks.wait(now);
    EXPECT_FALSE(unloaded);
    calls.held = false;
    calls.held.notify_all();
    closer.join();
    expect_nothing_left();
    EXPECT_EQ(calls.count, 1u);
}

TEST_F(AsyncUnloadConcurrent, AWorkerThatHasNotBegunNeverDoes)
{
    Library library;
    Callbacks calls;
    g_start = Start::held;
    start_copy(library, calls, 0, 5'000);
    g_start = Start::plain;
    library.unload();
    expect_nothing_left();
    EXPECT_EQ(calls.count, 0u);
}

// The user closes a window while the unloading still waits for a callback.
TEST_F(AsyncUnloadConcurrent, WaitsForNoWindowThatHasGoneMeanwhile)
{
    Library library;
    Callbacks calls;
    calls.held = true;
    g_waits_in_vain = 0;
    library.get<decltype(DiagOutputWnd)>("DiagOutputWnd")(nullptr, 0);
    start_copy(library, calls, 0, off_t{1} << 40);
    calls.wait_for(1);
    g_looks = 0;
    std::thread closer(
        [&]
        {
            t_flies = true;
            library.unload();
        });
    g_looks.wait(0);
    EXPECT_TRUE(PostMessageW(test::debug_window(0), WM_CLOSE, 0, 0));
    EXPECT_TRUE(test::comes_true([] { return test::debug_windows() == 0; }));
    calls.held = false;
    calls.held.notify_all();
    closer.join();
    EXPECT_EQ(g_waits_in_vain, 0);
    expect_nothing_left();
}

// A timer of another kind, which no thread can end any more, as its own has ended. Its record stays
// even after unloading.
[[gnu::noinline]] void abandon_message_timer(decltype(QV_SetThreadedTimer)* set)
{
    std::thread(
        [set]
        {
            const auto never = [](void*) { return 1; };
            EXPECT_NE(set(never, nullptr, 1e6, 0, QV_PRECISION_POSTED, 1), 0u);
        })
        .join();
}

TEST(TimerUnloadConcurrent, WaitsForTheLastCallOfAMultimediaTimerToReturn)
{
    Library library;
    auto* const set = library.get<decltype(QV_SetThreadedTimer)>("QV_SetThreadedTimer");
    auto* const wait = library.get<decltype(QV_WaitForTimer)>("QV_WaitForTimer");
    const auto once = [](void*) { return 1; };
    abandon_message_timer(set);
    // The first timer makes what stays; the second is held.
    for (const bool hold : {false, true})
    {
        g_hold = hold;
        const uintptr_t id = set(once, nullptr, 1.0, 1, QV_PRECISION_MM_1, 1);
        ASSERT_NE(id, 0u);
        ASSERT_EQ(wait(static_cast<unsigned>(id)), QV_OK);
    }
    // A wait between the timer's end and its event returns QV_OK at once.
    g_held.wait(false);
    expect_unloading_waits(library);
}

uintptr_t run_thread_timer(const Library& library, QvTimerCallback call)
{
    return library.get<decltype(QV_SetThreadedTimer)>("QV_SetThreadedTimer")(call, nullptr, 0.0, 1,
                                                                             QV_PRECISION_SPIN, 1);
}

TEST(TimerUnloadConcurrent, WaitsForTheReturnOfTheThreadOfATimerThatHasEnded)
{
    Library library;
    EXPECT_NE(run_thread_timer(library,
                               [](void*)
                               {
                                   t_is_timer = true;
                                   return 1;
                               }),
              0u);
    g_held.wait(false);
    expect_unloading_waits(library);
}

TEST(PoolUnloadConcurrent, WaitsForTheReturnOfAWorkerThatHasLeftItsPool)
{
    Library library;
    g_await = Library::needed<void()>("pthread_await_ending_np");
    CThreadPool* const pool = library.get<CThreadPool*()>("_ZN11CThreadPool16CreateThreadPoolEv")();
    ASSERT_NE(pool, nullptr);
    const auto work = [](void*) -> void*
    {
        t_is_worker = true;
        return nullptr;
    };
    ASSERT_EQ((library.get<int(CThreadPool*, void* (*)(void*), void*)>(
                  "_ZN11CThreadPool22MakeCallFromThreadPoolEPFPvS0_ES0_")(pool, work, nullptr)),
              QV_OK);
    library.get<void(CThreadPool*)>("_ZN11CThreadPool17DestroyThreadPoolEPS_")(pool);
    g_held.wait(false);
    expect_unloading_waits(library);
    g_await = nullptr;
}

// ---- debug windows, and loading the library again at another address: the stand-in stays loaded,
// with all that the unloaded library has registered

void show_windows(const Library& library)
{
    library.get<decltype(DiagOutputWnd)>("DiagOutputWnd")(nullptr, 0);
}

// Repeated, since the listener may not listen yet.
bool reaches_window(const std::string& text)
{
    return test::comes_true(
        [&]
        {
            OutputDebugStringA(("|wndid:3| \t" + text).c_str());
            return test::cell(3, 0, 2) == text;
        });
}

bool class_is_registered()
{
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpfnWndProc = DefWindowProcW;
    given.lpszClassName = L"PLINTH_DEBUG_WINDOW";
    return RegisterClassExW(&given) == 0 || !UnregisterClassW(given.lpszClassName, nullptr);
}

TEST(DebugWindowUnload, WindowsOfALibraryThatWasLoadedAgainElsewhereAreItsOwn)
{
    void* before = nullptr;
    {
        Library library;
        before = library.base();
        show_windows(library);
        EXPECT_TRUE(reaches_window("first"));
        EXPECT_TRUE(class_is_registered());
    }
    EXPECT_FALSE(class_is_registered());
    EXPECT_EQ(test::debug_windows(), 0);
    // This page is taken, so that the library is loaded at another address; the loader maps a
    // library in one piece.
    EXPECT_EQ(
        mmap(before, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0),
        before);
    Library library;
    ASSERT_NE(library.base(), before);
    show_windows(library);
    EXPECT_TRUE(reaches_window("second"));
    munmap(before, 4096);
}

#if defined(__SANITIZE_ADDRESS__)
constexpr int window_rounds = 50;
#else
constexpr int window_rounds = 1'000;
#endif

// Unloading holds the loader's lock, which threads need to begin or end in the usual way.
struct WindowUnload : testing::Test
{
    WindowUnload()
    {
        std::thread([] {}).join();
        m_threads = test::threads_here();
        g_waits_in_vain = 0;
    }
    static void expect_no_wait(Library& library)
    {
        library.unload();
        EXPECT_EQ(g_waits_in_vain, 0);
        EXPECT_FALSE(Library::is_loaded());
        EXPECT_EQ(test::debug_windows(), 0);
    }
    void expect_no_thread_left() const
    {
        EXPECT_TRUE(test::comes_true([&] { return test::threads_here() == m_threads; }));
    }
    size_t m_threads = 0;
};

TEST_F(WindowUnload, WithAWindowOpenWaitsForNoThreadInVain)
{
    for (int round = 0; round < window_rounds && !HasFailure(); ++round)
    {
        Library library;
        show_windows(library);
        g_threads_meet = round == 0;
        if (g_threads_meet)
            start_threads_before();
        expect_no_wait(library);
    }
    for (const HANDLE thread : {g_begins, g_ends, g_terminated})
    {
        EXPECT_EQ(WaitForSingleObject(thread, 10'000), WAIT_OBJECT_0);
        CloseHandle(thread);
    }
    EXPECT_TRUE(g_begun);
    expect_no_thread_left();
}

// As a module finds them that ends its timers when it is unloaded itself.
TEST_F(WindowUnload, ATimersThreadThatCanNotEndIsWaitedForOnlySoLong)
{
    Library library;
    g_start = Start::endless;
    const uintptr_t id = run_thread_timer(library,
                                          [](void*)
                                          {
                                              g_waits_for_timer.wait(false);
                                              return 0;
                                          });
    g_start = Start::plain;
    t_waits_for_timer = true;
    EXPECT_EQ(library.get<decltype(QV_WaitForTimer)>("QV_WaitForTimer")(static_cast<unsigned>(id)),
              QV_OK);
    EXPECT_EQ(g_endless, 1);
    expect_no_wait(library);
    expect_no_thread_left();
}

// As a module finds them that is unloaded right after it has set a timer.
TEST_F(WindowUnload, ATimerThatItsThreadNeverEndsIsEndedByItsWaiter)
{
    for (const Start start : {Start::held, Start::late, Start::lost})
    {
        SCOPED_TRACE(static_cast<int>(start));
        Library library;
        g_may_begin = false;
        g_start = start;
        const auto id = static_cast<unsigned>(run_thread_timer(library,
                                                               [](void*)
                                                               {
                                                                   ADD_FAILURE();
                                                                   return 0;
                                                               }));
        g_start = Start::plain;
        auto* const record = library.get<decltype(QV_GetTimerRecord)>("QV_GetTimerRecord");
        t_flies = true; // past the limit
        const QvTimerRecord* const timer = record(id);
        t_flies = false;
        ASSERT_NE(timer, nullptr);
        EXPECT_EQ(timer->thread, 0u);
        if (start != Start::lost)
        {
            EXPECT_EQ(library.get<decltype(QV_KillTimerAsync)>("QV_KillTimerAsync")(id), QV_OK);
        }
        EXPECT_EQ(library.get<decltype(QV_WaitForTimer)>("QV_WaitForTimer")(id), QV_OK);
        EXPECT_EQ(record(id), nullptr);
        g_may_begin = true;
        g_may_begin.notify_all();
        if (start == Start::late)
            expect_no_thread_left();
        expect_no_wait(library);
    }
    expect_no_thread_left();
}

TEST_F(WindowUnload, WaitsForNoThreadThatHasNotBegun)
{
    Library library;
    g_plain_starts = 1; // the window's own thread
    g_start = Start::held;
    show_windows(library);
    g_start = Start::plain;
    expect_no_wait(library);
    expect_no_thread_left();
}

TEST_F(WindowUnload, WaitsForNoWindowThatIsBeingMade)
{
    Library library;
    show_windows(library);
    EXPECT_TRUE(reaches_window("first"));
    g_start = Start::in_unload;
    OutputDebugStringA("|wndid:4| \tsecond");
    g_is_starting.wait(false);
    g_start = Start::plain; // already read by that start
    expect_no_wait(library);
    expect_no_thread_left();
}

TEST(Unload, AForkAfterItCallsNothingOfTheLibrary)
{
    Library library;
    const auto fork_once = []
    {
        int status = -1;
        const pid_t child = fork();
        if (child == 0)
            _exit(0);
        waitpid(child, &status, 0);
        return status;
    };
    EXPECT_EQ(fork_once(), 0);
    library.unload();
    EXPECT_FALSE(Library::is_loaded());
    EXPECT_EQ(fork_once(), 0);
}

} // namespace

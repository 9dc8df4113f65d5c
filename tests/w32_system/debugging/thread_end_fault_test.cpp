// Threads of the debug framework that have to be terminated, where a termination only starts the
// end of a thread.
#include <atomic>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "debug_windows.h"
#include "hanging_window.h"

namespace
{

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// A thread that was terminated goes on until somebody waits for it.
std::atomic<bool> g_put_off{false};
std::atomic<HANDLE> g_terminated{nullptr};
std::atomic<DWORD> g_exit_code{0};

} // namespace

extern "C" __attribute__((visibility("default"))) BOOL TerminateThread(HANDLE thread, DWORD code)
{
    static auto* const real = next<decltype(TerminateThread)>("TerminateThread");
    if (!g_put_off)
        return real(thread, code);
    g_exit_code = code;
    g_terminated = thread;
    return TRUE;
}

extern "C" __attribute__((visibility("default"))) DWORD WaitForSingleObject(HANDLE object,
                                                                            DWORD limit)
{
    static auto* const real = next<decltype(WaitForSingleObject)>("WaitForSingleObject");
    static auto* const terminate = next<decltype(TerminateThread)>("TerminateThread");
    HANDLE terminated = object;
    if (object && g_terminated.compare_exchange_strong(terminated, nullptr))
    {
        EXPECT_NE(limit, INFINITE);
        terminate(object, g_exit_code);
    }
    return real(object, limit);
}

namespace
{

HANDLE g_release;

class ThreadEnd : public testing::Test
{
protected:
    ThreadEnd()
    {
        g_release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        g_put_off = true;
    }
    ~ThreadEnd() override
    {
        g_put_off = false;
        CloseHandle(g_release);
    }
};

TEST_F(ThreadEnd, OfAWindowThatHangsIsAwaitedBeforeTheWindowIsFreed)
{
    struct Windows : CDebugFramework
    {
        Windows() : CDebugFramework(true) { CreateDebugWindow(0); }
    };
    test::HangingWindow hanging;
    HWND window = nullptr;
    {
        const Windows windows;
        window = hanging.hang(0);
    }
    EXPECT_EQ(g_exit_code, 1u);
    EXPECT_FALSE(IsWindow(window)) << "its thread goes on";
}

TEST_F(ThreadEnd, OfAnAdderThatHangsIsAwaitedBeforeTheFrameworkIsFreed)
{
    static std::atomic<HANDLE> s_adder{nullptr};
    struct Hanging : CDebugFramework
    {
        Hanging() : CDebugFramework(true) { StartThreads("test"); }
        ~Hanging() override { StopThreads(); }
        void AddItem(const wchar_t*) override
        {
            s_adder = m_AdderThread;
            WaitForSingleObject(g_release, INFINITE);
        }
    };
    {
        const Hanging hanging;
        ASSERT_TRUE(test::comes_true(
            []
            {
                OutputDebugStringA("x");
                return s_adder != nullptr;
            }));
        g_exit_code = 17;
    }
    EXPECT_EQ(g_exit_code, 0u) << "it was terminated";
    EXPECT_EQ(g_terminated, nullptr) << "nobody has waited for its end";
}

} // namespace

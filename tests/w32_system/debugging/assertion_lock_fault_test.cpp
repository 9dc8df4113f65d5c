// Assertions while the lock of the stack lines is held for long, or for ever: by a thread that is
// terminated over them.
#include <atomic>
#include <string>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <dbghelp.h>

#include "support/log_files.h"

namespace
{

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::atomic<bool> g_hold{false}; // the next walk
std::atomic<bool> g_held{false}; // until it is let go
thread_local bool t_flies = false;
thread_local int t_sleeps = 0;

} // namespace

extern "C" __attribute__((visibility("default"))) BOOL
StackWalk64(DWORD machine, HANDLE process, HANDLE thread, LPSTACKFRAME64 frame, PVOID context,
            PREAD_PROCESS_MEMORY_ROUTINE64 read, PFUNCTION_TABLE_ACCESS_ROUTINE64 table,
            PGET_MODULE_BASE_ROUTINE64 base, PTRANSLATE_ADDRESS_ROUTINE64 translate)
{
    static auto* const real = ::next<decltype(StackWalk64)>("StackWalk64");
    if (g_hold.exchange(false))
    {
        g_held = true;
        g_held.notify_all();
        g_held.wait(true);
    }
    return real(machine, process, thread, frame, context, read, table, base, translate);
}

extern "C" __attribute__((visibility("default"))) void Sleep(DWORD milliseconds)
{
    static auto* const real = next<decltype(Sleep)>("Sleep");
    ++t_sleeps;
    if (!t_flies)
        real(milliseconds);
}

namespace
{

class AssertionLock : public testing::Test
{
protected:
    AssertionLock()
    {
        CQvLogFile::SetMaxLogMessageLength(-1);
        t_flies = true;
    }
    ~AssertionLock() override
    {
        release();
        t_flies = false;
    }
    // A thread makes its stack lines, and doesn't come to an end with them.
    void hold()
    {
        g_hold = true;
        m_holder = std::thread([] { assert_with(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE); });
        g_held.wait(false);
    }
    void release()
    {
        if (!m_holder.joinable())
            return;
        g_held = false;
        g_held.notify_all();
        m_holder.join();
    }
    // The pauses of a report, and the report.
    static int sleeps(unsigned options)
    {
        test::start_log();
        t_sleeps = 0;
        assert_with(options);
        return t_sleeps;
    }
    static bool is_whole() { return test::log_content().find("Last Error (") != std::string::npos; }
    static bool has_lines() { return test::log_content().find("\n0x") != std::string::npos; }

    static constexpr unsigned with_lines = QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE;

private:
    static void assert_with(unsigned options) { DiagAssertA(options, "x", nullptr, "f", 1); }
    std::thread m_holder;
};

TEST_F(AssertionLock, HoldsUpNoReportWithoutStackLines)
{
    hold();
    EXPECT_EQ(sleeps(QV_DIAG_LOGFILE), 0);
    EXPECT_TRUE(is_whole());
}

TEST_F(AssertionLock, CostsItsPatienceOnceUntilItIsFreeAgain)
{
    for (int round = 0; round < 2; ++round)
    {
        hold();
        EXPECT_GT(sleeps(with_lines), 1'000);
        EXPECT_TRUE(is_whole());
        EXPECT_FALSE(has_lines());
        EXPECT_EQ(sleeps(with_lines), 0);
        EXPECT_TRUE(is_whole());
        EXPECT_FALSE(has_lines());
        release();
        EXPECT_EQ(sleeps(with_lines), 0);
        EXPECT_TRUE(has_lines());
    }
}

} // namespace

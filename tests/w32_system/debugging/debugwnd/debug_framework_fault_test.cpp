// The debug framework as a whole: from the channel into windows, failures, and threads that have to
// be terminated. A termination only starts the end of a thread.

#include "support/test.h"

#include "debug_windows.h"
#include "support/entries.h"
#include "support/instead.h"
#include "support/soak.h"

using test::cell;
using test::comes_true;
using test::row_count;
using test::Windows;

namespace
{

// With this set, a terminated thread continues until another thread waits for it.
std::atomic<bool> g_put_off{false};
std::atomic<HANDLE> g_terminated{nullptr};
std::atomic<DWORD> g_exit_code{0};

} // namespace

TEST_INSTEAD BOOL TerminateThread(HANDLE thread, DWORD code)
{
    if (!g_put_off)
        return TEST_REAL(TerminateThread)(thread, code);
    g_exit_code = code;
    g_terminated = thread;
    return TRUE;
}

TEST_INSTEAD DWORD WaitForSingleObject(HANDLE object, DWORD limit)
{
    static auto* const real = TEST_REAL(WaitForSingleObject);
    HANDLE terminated = object;
    if (object && g_terminated.compare_exchange_strong(terminated, nullptr))
    {
        EXPECT_NE(limit, INFINITE);
        TEST_REAL(TerminateThread)(object, g_exit_code);
    }
    return real(object, limit);
}

namespace
{

struct Framework : testing::Test
{
    ~Framework() override { PlinthTestReset(); }
};

// Repeated, since the listener of a new framework may not listen yet.
bool reaches_window(int id)
{
    return comes_true(
        [id]
        {
            OutputDebugStringA(("|wndid:" + std::to_string(id) + "| probe").c_str());
            return row_count(id) > 0;
        });
}

TEST_F(Framework, ShowsRecordsOfTheChannelAndIsMadeAnewOnlyWhenAsked)
{
    DiagOutputWnd(nullptr, 0);
    const HWND first = test::debug_window(0);
    ASSERT_NE(first, nullptr);
    DiagOutputWnd(nullptr, 0);
    EXPECT_EQ(test::debug_windows(), 1);
    ASSERT_TRUE(reaches_window(3));
    DiagOutputExW(L"|wndid:4| \ta record\t%d", 17);
    ASSERT_TRUE(comes_true([] { return cell(4, 0, 3) == "17  "; }));
    EXPECT_NE(cell(4, 0, 1).find(" *vtq* "), std::string::npos);
    EXPECT_EQ(cell(4, 0, 2), "a record");
    DiagOutputWnd(nullptr, 1);
    EXPECT_FALSE(IsWindow(first));
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_TRUE(reaches_window(5)) << "the new one has the channel";
} // it is destroyed with the static objects

// A thread that continued would use freed memory, which AddressSanitizer reports.
TEST_F(Framework, EndsItsThreadsAlthoughTheWaitsForThemFail)
{
    const size_t before = test::threads_here();
    auto framework = std::make_unique<CDebugFramework>(reinterpret_cast<HWND>(LONG_PTR{0x77}));
    ASSERT_NE(test::debug_window(0), nullptr);
    EXPECT_EQ(GetParent(test::debug_window(0)), nullptr) << "an owner that is no window is none";
    ASSERT_TRUE(reaches_window(1));
    PlinthTestFail("WaitForSingleObject", 1, 0, 8);
    framework.reset();
    EXPECT_GE(PlinthTestCalls("WaitForSingleObject"), 3u);
    EXPECT_EQ(test::debug_windows(), 0);
    EXPECT_TRUE(comes_true([before] { return test::threads_here() == before; }));
}

// Each unanswered message costs its time limit; here the calls fail at once.
TEST_F(Framework, AWindowThatHangsCostsTheAdderALimitForEachMessageAndTheOthersNothing)
{
    Windows windows;
    PlinthTestFail("SendMessageTimeoutW", 1, 0, ERROR_TIMEOUT);
    windows.AddItem(L"|wndid:0| \tnever\tshown");
    EXPECT_EQ(PlinthTestCalls("SendMessageTimeoutW"), 5u) << "number, three fields, scrolling";
    PlinthTestReset();
    windows.AddItem(L"|wndid:2| \tshown");
    EXPECT_EQ(cell(2, 0, 2), "shown");
}

HANDLE g_release; // hanging code waits for it

// Blocks its adder thread at the first text.
class Hanging : public CDebugFramework
{
public:
    Hanging() : CDebugFramework(true) { StartThreads("test"); }
    ~Hanging() override { StopThreads(); }
    void AddItem(const wchar_t*) override
    {
        m_hangs = true;
        WaitForSingleObject(g_release, INFINITE);
    }
    std::atomic<bool> m_hangs{false};
};

WNDPROC g_before;

LRESULT CALLBACK hang(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_SETTEXT)
        WaitForSingleObject(g_release, INFINITE);
    return CallWindowProcW(g_before, window, message, wParam, lParam);
}

struct ThreadEnd : testing::Test
{
    ThreadEnd()
    {
        g_release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        g_put_off = true;
        g_exit_code = 17;
    }
    ~ThreadEnd() override
    {
        g_put_off = false;
        CloseHandle(g_release);
    }
};

TEST_F(ThreadEnd, OfAWindowThatHangsIsAwaitedBeforeTheWindowIsFreed)
{
    HWND window = nullptr;
    {
        const Windows windows;
        window = test::debug_window(0);
        g_before = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(hang)));
        EXPECT_FALSE(SendMessageTimeoutW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"x"), 0,
                                         10, nullptr));
    }
    EXPECT_EQ(g_exit_code, 1u);
    EXPECT_FALSE(IsWindow(window)) << "its thread goes on";
}

TEST_F(ThreadEnd, OfAnAdderThatHangsIsAwaitedBeforeTheFrameworkIsFreed)
{
    {
        const Hanging framework;
        ASSERT_TRUE(comes_true(
            [&]
            {
                OutputDebugStringA("x");
                return framework.m_hangs.load();
            }));
    }
    EXPECT_EQ(g_exit_code, 0u) << "it was terminated";
    EXPECT_EQ(g_terminated, nullptr) << "nobody has waited for its end";
}

TEST(FrameworkConcurrent, WritersOnManyThreadsReachTheirWindowsInOrderWhileOthersAreClosed)
{
    constexpr int writers = 4;
    constexpr int texts = 300;
    PlinthTestSetChannelPatience(60'000); // so that no text is lost on a busy machine
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        CDebugFramework framework(nullptr);
        ASSERT_TRUE(reaches_window(100));
        std::vector<std::jthread> all;
        for (int writer = 0; writer < writers; ++writer)
            all.emplace_back(
                [writer]
                {
                    const std::string tag = "|wndid:" + std::to_string(writer) + "| \t";
                    for (int i = 0; i < texts; ++i)
                        OutputDebugStringA((tag + std::to_string(i)).c_str());
                });
        PostMessageW(test::debug_window(100), WM_CLOSE, 0, 0);
        all.clear(); // joins them
        ASSERT_TRUE(reaches_window(101)) << "it comes after all the others";
        for (int writer = 0; writer < writers; ++writer)
        {
            EXPECT_EQ(row_count(writer), texts) << "writer " << writer;
            for (int row = 0; row < row_count(writer); ++row)
                EXPECT_EQ(cell(writer, row, 2), std::to_string(row)) << "writer " << writer;
        }
        ++rounds;
    } while (soak.goes_on() && !HasFailure());
    PlinthTestSetChannelPatience(0);
    soak.report("frameworks with four writers", rounds);
}

} // namespace

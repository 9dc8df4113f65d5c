// The debug framework as a whole: from the channel into windows, and what can go wrong.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "debug_windows.h"
#include "hanging_window.h"
#include "support/entries.h"
#include "support/soak.h"

namespace
{

using test::cell;
using test::comes_true;
using test::row_count;

struct Framework : testing::Test
{
    ~Framework() override { PlinthTestReset(); }
};

// Writes the text until the window shows a row: the listener of a fresh framework may not be at
// work yet.
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
} // the static tear-down ends it

TEST_F(Framework, ASecondOneSaysSoOnceAndStaysEmpty)
{
    setenv("PLINTH_MESSAGEBOX", "ok", 1);
    CDebugFramework first(nullptr);
    ASSERT_TRUE(reaches_window(1));
    PlinthTestArm();
    {
        CDebugFramework second(nullptr);
        EXPECT_EQ(PlinthTestCalls("MessageBoxW"), 1u);
        EXPECT_NE(test::debug_window(0), nullptr) << "its window opens all the same";
        const int before = row_count(1);
        OutputDebugStringA("|wndid:1| for the first");
        EXPECT_TRUE(comes_true([before] { return row_count(1) > before; }));
        EXPECT_EQ(row_count(0), 0);
    }
    EXPECT_EQ(test::debug_window(0), nullptr);
}

TEST_F(Framework, AThreadThatCanNotBeStartedHangsNothing)
{
    for (const unsigned nth : {1u, 2u, 3u}) // window, listener, adder
    {
        PlinthTestFail("pthread_create", nth, 1, EAGAIN);
        {
            CDebugFramework framework(nullptr);
            EXPECT_EQ(test::debug_windows(), nth == 1 ? 0 : 1);
        }
        EXPECT_EQ(test::debug_windows(), 0);
        PlinthTestReset();
    }
    CDebugFramework works(nullptr);
    EXPECT_TRUE(reaches_window(1));
}

// A thread that went on would look at what is freed, which AddressSanitizer sees.
TEST_F(Framework, EndsItsThreadsAlthoughTheWaitsForThemFail)
{
    const size_t before = test::threads_here();
    auto framework = std::make_unique<CDebugFramework>(nullptr);
    ASSERT_TRUE(reaches_window(1));
    PlinthTestFail("WaitForSingleObject", 1, 0, 8);
    framework.reset();
    EXPECT_GE(PlinthTestCalls("WaitForSingleObject"), 3u);
    EXPECT_EQ(test::debug_windows(), 0);
    EXPECT_TRUE(comes_true([before] { return test::threads_here() == before; }));
}

struct Windows : CDebugFramework
{
    Windows() : CDebugFramework(true) { CreateDebugWindow(0); }
};

TEST_F(Framework, AWindowThatCanNotBeMadeDropsItsRows)
{
    for (const char* step : {"CreateWindowExW", "CreateEvent", "pthread_create"})
    {
        Windows windows;
        PlinthTestFail(step, 1, 0, std::string(step) == "pthread_create" ? EAGAIN : 8);
        windows.AddItem(L"|wndid:0| the first window is there");
        windows.AddItem(L"|wndid:6| this one is not");
        windows.AddItem(L"|wndid:6| and it stays so");
        PlinthTestReset();
        EXPECT_EQ(test::debug_windows(), 1) << step;
        EXPECT_EQ(row_count(0), 1);
    }
}

TEST_F(Framework, AnInsertionThatFailsLeavesTheOthers)
{
    Windows windows;
    windows.AddItem(L"|wndid:0| a");
    PlinthTestFail("LVM_INSERTITEMW", 1, 1, 8);
    windows.AddItem(L"|wndid:0| lost");
    windows.AddItem(L"|wndid:0| b");
    EXPECT_EQ(row_count(0), 2);
    EXPECT_EQ(cell(0, 1, 1), " b");
    EXPECT_EQ(cell(0, 1, 0), "2") << "the number tells that one is missing";
}

// Three seconds are what a window has for an answer, and again for its end.
TEST_F(Framework, AWindowThatHangsCostsItsLimitAndIsEndedWithItsThread)
{
    test::HangingWindow hanging;
    HWND window = nullptr;
    {
        Windows windows;
        window = hanging.hang(0);
    }
    EXPECT_FALSE(IsWindow(window));
}

// Each message that is not answered costs its limit, here without the time that it takes.
TEST_F(Framework, AWindowThatHangsCostsTheAdderOneLimitForEachMessageAndTheOthersNothing)
{
    Windows windows;
    windows.AddItem(L"|wndid:1| a");
    windows.AddItem(L"|wndid:2| b");
    PlinthTestFail("SendMessageTimeoutW", 1, 0, ERROR_TIMEOUT);
    windows.AddItem(L"|wndid:1| \tnever\tshown");
    EXPECT_EQ(PlinthTestCalls("SendMessageTimeoutW"), 5u) << "number, three fields, scrolling";
    PlinthTestReset();
    windows.AddItem(L"|wndid:2| \tshown");
    EXPECT_EQ(cell(2, 1, 2), "shown");
    windows.AddItem(L"|wndid:1| awake again");
    EXPECT_EQ(row_count(1), 2);
}

TEST_F(Framework, OddTextsComeThroughTheChannelIntoTheirCells)
{
    CDebugFramework framework(nullptr);
    ASSERT_TRUE(reaches_window(9));
    std::string fields = "|wndid:9| ";
    for (int i = 0; i < 300; ++i)
        fields += "\t" + std::to_string(i % 10);
    for (const char* text : {"|wndid:x9| no number", "|wndid:0| a\r\nb\tc\r\n\t",
                             "|wndid:0| \xff\xc3(\xe2\x82", "|wndid:0"})
        OutputDebugStringA(text);
    OutputDebugStringA(fields.c_str());
    ASSERT_TRUE(
        comes_true([] { return row_count(0) == 4 && cell(9, row_count(9) - 1, 301) == "9"; }));
    EXPECT_EQ(cell(0, 0, 1), " no number");
    EXPECT_EQ(cell(0, 1, 1) + "|" + cell(0, 1, 2) + "|" + cell(0, 1, 3), " a  b|c  |");
    const std::string bad = "\xef\xbf\xbd";
    EXPECT_EQ(cell(0, 2, 1), " " + bad + bad + "(" + bad);
    EXPECT_EQ(cell(0, 3, 1), "");
}

TEST_F(Framework, DestructionDropsTheTextsThatWait)
{
    static std::atomic<int> s_added{0};
    struct Slow : CDebugFramework
    {
        Slow() : CDebugFramework(true) { StartThreads("test"); }
        ~Slow() override { StopThreads(); }
        void AddItem(const wchar_t*) override
        {
            ++s_added;
            while (m_bAdderRun)
                Sleep(0);
        }
    };
    {
        Slow slow;
        ASSERT_TRUE(comes_true(
            []
            {
                OutputDebugStringA("x");
                return s_added > 0;
            }));
        for (int i = 0; i < 500; ++i)
            OutputDebugStringA("x");
    }
    EXPECT_EQ(s_added, 1) << "the one that was being added";
}

TEST_F(Framework, AnOwnerThatIsNoWindowIsNone)
{
    CDebugFramework framework(reinterpret_cast<HWND>(LONG_PTR{0x77}));
    ASSERT_NE(test::debug_window(0), nullptr);
    EXPECT_EQ(GetParent(test::debug_window(0)), nullptr);
}

TEST(FrameworkConcurrent, WritersOnManyThreadsReachTheirWindowsInOrderWhileOthersAreClosed)
{
    constexpr int writers = 4;
    constexpr int texts = 60;
    PlinthTestSetChannelPatience(60'000); // a busy machine loses nothing
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        CDebugFramework framework(nullptr);
        ASSERT_TRUE(reaches_window(100));
        std::vector<std::thread> all;
        for (int writer = 0; writer < writers; ++writer)
            all.emplace_back(
                [writer]
                {
                    const std::string tag = "|wndid:" + std::to_string(writer) + "| \t";
                    for (int i = 0; i < texts; ++i)
                        OutputDebugStringA((tag + std::to_string(i)).c_str());
                });
        PostMessageW(test::debug_window(100), WM_CLOSE, 0, 0);
        for (std::thread& each : all)
            each.join();
        ASSERT_TRUE(reaches_window(101)) << "it comes behind all the others";
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

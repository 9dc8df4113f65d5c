// Capture of the debug string channel between processes, and what can go wrong with it.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <plinth_w32_system.h>

#include "support/processes.h"

namespace
{

// The callback is a plain function: what it collects is global.
std::mutex g_lock;
std::condition_variable g_changed;
std::vector<std::string> g_texts;

void collect(const wchar_t* text)
{
    {
        const std::lock_guard guard(g_lock);
        g_texts.push_back(test::utf8(text));
        g_changed.notify_all();
    }
    if (test::utf8(text) == "held")
        Sleep(INFINITE); // does not return
}

// Waits until there are so many texts. False after a time that only a fault takes.
bool wait_for_texts(size_t count)
{
    std::unique_lock lock(g_lock);
    return g_changed.wait_for(lock, std::chrono::seconds(20),
                              [count] { return g_texts.size() >= count; });
}

std::vector<std::string> taken()
{
    const std::lock_guard guard(g_lock);
    return std::exchange(g_texts, {});
}

// A capture that has been seen to work: its first text has come through.
struct WorkingCapture
{
    WorkingCapture()
    {
        taken();
        for (bool arrived = false; !arrived;)
        {
            OutputDebugStringA("probe");
            std::unique_lock lock(g_lock);
            arrived = g_changed.wait_for(lock, std::chrono::milliseconds(300),
                                         [] { return !g_texts.empty(); });
        }
        // Probes may still be on their way: what comes before the mark is theirs.
        OutputDebugStringA("mark");
        std::unique_lock lock(g_lock);
        g_changed.wait(lock, [] { return g_texts.back() == "mark"; });
        g_texts.clear();
    }
    CQvDebugOutputCapture* m_capture = new CQvDebugOutputCapture(collect);
    ~WorkingCapture() { delete m_capture; }
};

int write_texts(int, char** argv)
{
    const int count = atoi(argv[0]);
    QV_SetTraceOptions(QV_DIAG_DEBUGGER);
    for (int i = 0; i < count; ++i)
        DiagOutputA("%s %d", argv[1], i);
    return 0;
}
const test::ChildMain write_texts_main("write-texts", write_texts);

TEST(Capture, GetsTheTextsOfAnotherProcessInOrder)
{
    const WorkingCapture capture;
    test::Process writer = test::Process::child("write-texts", {"300", "text"});
    EXPECT_EQ(writer.wait(), 0);
    ASSERT_TRUE(wait_for_texts(301));
    const std::vector<std::string> texts = taken();
    EXPECT_NE(texts[0].find("RDTSC instruction NOT present."), std::string::npos)
        << "the first record of a process comes with its load";
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(texts[static_cast<size_t>(i) + 1], "text " + std::to_string(i));
}

TEST(Capture, CutsAtTheCachesLimitAndKeepsTagsAndTabs)
{
    const WorkingCapture capture;
    OutputDebugStringA(std::string(5000, 'x').c_str());
    OutputDebugStringA("|wndid:7| a\tb");
    OutputDebugStringW(L"\u00e4\u20ac");
    ASSERT_TRUE(wait_for_texts(3));
    const std::vector<std::string> texts = taken();
    EXPECT_EQ(texts[0], std::string(1023, 'x'));
    EXPECT_EQ(texts[1], "|wndid:7| a\tb");
    EXPECT_EQ(texts[2], "\xc3\xa4\xe2\x82\xac");
}

TEST(Capture, OfTwoTheSecondGetsNothing)
{
    const WorkingCapture first;
    {
        const CQvDebugOutputCapture second([](const wchar_t*) { FAIL() << "got a text"; });
        OutputDebugStringA("for the first");
        ASSERT_TRUE(wait_for_texts(1));
    }
    OutputDebugStringA("still");
    ASSERT_TRUE(wait_for_texts(2));
}

int capture_for_ever(int, char**)
{
    const WorkingCapture capture;
    std::puts("got");
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}
const test::ChildMain capture_for_ever_main("capture-for-ever", capture_for_ever);

TEST(Capture, AListenerThatWasKilledLeavesTheChannelFree)
{
    test::Process listener = test::Process::child("capture-for-ever");
    EXPECT_EQ(listener.read_line(), "got");
    listener.kill();
    OutputDebugStringA("to nobody");
    const WorkingCapture capture;
    OutputDebugStringA("to the next");
    ASSERT_TRUE(wait_for_texts(1));
    EXPECT_EQ(taken(), std::vector<std::string>{"to the next"});
}

TEST(Capture, ANullCallbackTakesAndDiscards)
{
    const CQvDebugOutputCapture capture(nullptr);
    for (int i = 0; i < 50; ++i)
        OutputDebugStringA("nowhere");
}

TEST(Capture, ACallbackThatNeverReturnsEndsWithItsThread)
{
    {
        const WorkingCapture capture;
        OutputDebugStringA("held");
        ASSERT_TRUE(wait_for_texts(1));
    }
    // The destructor has ended the thread where it was; nothing more may come.
    EXPECT_EQ(taken(), std::vector<std::string>{"held"});
}

TEST(Capture, EachStepThatFailsLeavesAnObjectThatCanBeDestroyed)
{
    for (const char* step : {"InitializeSecurityDescriptor", "SetSecurityDescriptorDacl",
                             "CreateEvent", "CreateFileMapping", "MapViewOfFile",
                             "SetThreadPriority", "WaitForSingleObject", "pthread_create"})
        for (const unsigned nth : {1u, 2u})
        {
            PlinthTestFail(step, nth, 1,
                           std::string(step) == "pthread_create"
                               ? EAGAIN
                               : static_cast<int>(ERROR_NOT_ENOUGH_MEMORY));
            {
                const CQvDebugOutputCapture capture(collect);
            }
            PlinthTestReset();
        }
    const WorkingCapture works;
}

} // namespace

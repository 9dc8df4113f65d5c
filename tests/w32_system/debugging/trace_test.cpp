#include <regex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_files.h"

using test::Wide;

namespace
{

// Records go to the log, with no limit, and are read back from there without their stamps.
class Trace : public testing::Test
{
protected:
    Trace()
    {
        CQvLogFile::SetMaxLogMessageLength(-1);
        test::start_log();
    }
    ~Trace() override
    {
        QV_SetTraceOptions(QV_DIAG_DEBUGGER | QV_DIAG_LOGFILE);
        CQvLogFile::SetMaxLogMessageLength(512);
    }
    // What the records since the last call came to.
    std::string taken()
    {
        static const std::regex stamp(
            "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ");
        const std::string all = test::log_content();
        const std::string fresh = all.substr(m_seen);
        m_seen = all.size();
        return std::regex_replace(fresh, stamp, "");
    }
    size_t m_seen = 0;
};

TEST_F(Trace, ARecordIsStampTextAndOneLineEnd)
{
    DiagOutputExW(L"%s and %hs, %d%%", L"wide", "narrow", 50);
    EXPECT_TRUE(std::regex_match(
        test::log_content(),
        std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* wide and "
                   "narrow, 50%\r\n")))
        << test::log_content();
    taken();
    DiagOutputExW(L"");
    DiagOutputExW(L"ended\r\n");
    DiagOutputExW(L"half\n");
    EXPECT_EQ(taken(), "\r\nended\r\nhalf\n\r\n");
}

TEST_F(Trace, TagsAreReplacedAfterFormattingAndExactly)
{
    const std::string thread = std::to_string(GetCurrentThreadId());
    DiagOutputExW(L"%s|", L"|thrid");
    EXPECT_EQ(taken(), thread + "\r\n") << "a tag may come out of an argument";
    DiagOutputExW(L"%s", L"100%s %n |thrid|");
    EXPECT_EQ(taken(), "100%s %n " + thread + "\r\n") << "a percent sign in an argument is text";
    DiagOutputExW(L"|adt08|x|ADT00|y|foo|z|adt");
    EXPECT_EQ(taken(), "x|ADT00|y|foo|z\r\n");
    DiagOutputExW(L"|wndid:|thrid|| |wndid:2147483647| |");
    EXPECT_EQ(taken(), "|wndid:" + thread + "| |wndid:2147483647| |\r\n");
    DiagOutputExW(L"|stime|");
    EXPECT_TRUE(std::regex_match(taken(), std::regex("\\d\\d:\\d\\d:\\d\\d\r\n")));
    DiagOutputExW(L"|appnm|");
    EXPECT_EQ(taken(), "w32_system_debugging_tests\r\n");
}

TEST_F(Trace, TheSourceLocationIsThatOfTheLastCall)
{
    DiagOutputExW_hlp("some\\file", 42);
    DiagOutputExW(L"|sfile| |nline| |srcid|");
    DiagOutputExW(L"|srcid|");
    EXPECT_EQ(taken(), "some\\file 42 some\\file : 42\r\nsome\\file : 42\r\n");
    std::thread([] { DiagOutputExW_hlp("other", 7); }).join();
    DiagOutputExW(L"|srcid|");
    EXPECT_EQ(taken(), "other : 7\r\n");
    DiagOutputExW_hlp(std::string(5000, 'p').c_str(), 1);
    DiagOutputExW(L"|sfile|");
    EXPECT_EQ(taken(), std::string(1023, 'p') + "\r\n");
    DiagOutputExW_hlp(nullptr, 1);
    DiagOutputExW(L"|sfile|");
    EXPECT_EQ(taken(), "(null)\r\n");
}

TEST_F(Trace, StopwatchesRunFromTheirOwnLastRecord)
{
    DiagOutputExW(L"|adt03|");
    DiagOutputExW(L"|adt04|");
    taken();
    QV_Sleep(30, QV_PRECISION_SPIN);
    DiagOutputExW(L"|adt03| |adt03| |absdt| |absdt|");
    double own, again, since, same;
    ASSERT_EQ(sscanf(taken().c_str(), "%lf %lf %lf %lf", &own, &again, &since, &same), 4);
    EXPECT_GE(own, 30.0);
    EXPECT_EQ(again, 0.0) << "showing a stopwatch starts it anew";
    EXPECT_GE(since, 30.0);
    EXPECT_EQ(since, same) << "but not the time since the last record";
    DiagOutputExW(L"|adt03| |adt04|");
    double third, fourth;
    ASSERT_EQ(sscanf(taken().c_str(), "%lf %lf", &third, &fourth), 2);
    EXPECT_LT(third, fourth);
}

TEST_F(Trace, EachWindowHasItsOwnTime)
{
    DiagOutputExW(L"|wndid:500| |wnddt|");
    EXPECT_EQ(taken(), "|wndid:500| 0.00\r\n");
    QV_Sleep(20, QV_PRECISION_SPIN);
    DiagOutputExW(L"|wndid:700| |wnddt|");
    EXPECT_EQ(taken(), "|wndid:700| 0.00\r\n");
    DiagOutputExW(L"|wndid:500| |wnddt|");
    double since;
    ASSERT_EQ(sscanf(taken().c_str(), "|wndid:500| %lf", &since), 1);
    EXPECT_GE(since, 20.0);
}

TEST_F(Trace, WhatDoesNotFitIsCutWithAMark)
{
    constexpr size_t stamp = 30;
    const auto length_of = [this](size_t text)
    {
        test::start_log();
        m_seen = 0;
        DiagOutputExW(L"%s", Wide(text, L'x').c_str());
        return test::log_content();
    };
    const std::string whole = length_of(32'765 - stamp);
    EXPECT_EQ(whole.size(), 32'767u);
    EXPECT_EQ(whole.substr(whole.size() - 4), "xx\r\n");
    for (const size_t more : {size_t{1}, size_t{2}, size_t{100}, size_t{40'000}})
    {
        const std::string cut = length_of(32'765 - stamp + more);
        EXPECT_EQ(cut.size(), 32'767u);
        EXPECT_EQ(cut.substr(cut.size() - 6), "x...\r\n");
    }
    // Expansions that begin near the limit: a long source file behind much text, at every distance.
    DiagOutputExW_hlp(std::string(1023, 'f').c_str(), 1);
    for (const size_t before : {32'000u, 32'700u, 32'730u, 32'737u, 32'738u, 32'760u})
    {
        test::start_log();
        DiagOutputExW(L"%s|sfile||absdt||appnm||srcid|", Wide(before, L'x').c_str());
        const std::string cut = test::log_content();
        EXPECT_EQ(cut.size(), 32'767u);
        EXPECT_EQ(cut.substr(cut.size() - 5), "...\r\n");
    }
}

TEST_F(Trace, TheLastErrorSurvivesEveryFunctionOfTheFamily)
{
    CQvLogFile::CloseLog(); // so that a file has to be opened on the way
    SetLastError(4711);
    DiagOutputExW_hlp("file", 1);
    EXPECT_EQ(GetLastError(), 4711u);
    DiagOutputExW(L"x |srcid| |appnm|");
    EXPECT_EQ(GetLastError(), 4711u);
    DiagOutputA("x %s", "y");
    EXPECT_EQ(GetLastError(), 4711u);
    DiagOutputW(L"x %s", L"y");
    EXPECT_EQ(GetLastError(), 4711u);
    TraceLastOsErr();
    EXPECT_EQ(GetLastError(), 4711u);
    DiagAssertW(0, L"x", Wide(5000, L'm'), "file", 1);
    EXPECT_EQ(GetLastError(), 4711u);
}

TEST_F(Trace, SystemErrorsAreTracedByTheirText)
{
    SetLastError(ERROR_ACCESS_DENIED);
    TraceLastOsErr();
    EXPECT_EQ(taken(), "Access is denied.\r\n");
    SetLastError(0x12345678);
    TraceLastOsErr();
    EXPECT_EQ(taken(), "Unknown error 305419896 (0x12345678)\r\n");
}

TEST_F(Trace, OptionsChooseTheDestinations)
{
    EXPECT_EQ(QV_GetTraceOptions(), 0x12u);
    EXPECT_EQ(QV_SetTraceOptions(0), 0u);
    EXPECT_EQ(QV_GetTraceOptions(), 0x12u);
    EXPECT_EQ(QV_SetTraceOptions(QV_DIAG_MSGBOX), 0x12u);
    DiagOutputExW(L"silent");
    EXPECT_EQ(taken(), "");
    EXPECT_EQ(QV_SetTraceOptions(0x8000'0010), 0x1u) << "other bits are kept and ignored";
    DiagOutputExW(L"loud");
    EXPECT_EQ(taken(), "loud\r\n");
    EXPECT_EQ(QV_GetTraceOptions(), 0x8000'0010u);
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_DEBUGGER), 0x10u);
    EXPECT_EQ(QV_SetFailifOptions(0), 0u);
    EXPECT_EQ(QV_SetFailifOptions(QV_DIAG_LOGFILE), 0x02u);
}

TEST_F(Trace, MainThreadChecksSpeakOnlyWhenTheyFail)
{
    EXPECT_FALSE(QV_CheckMainThreadId(L"nobody is main yet", "file", 1));
    EXPECT_EQ(taken(), "");
    const unsigned self = QV_GetMainThreadId();
    EXPECT_EQ(self, GetCurrentThreadId());
    EXPECT_TRUE(QV_CheckMainThreadId(L"never seen", "file", 1));
    EXPECT_TRUE(QV_CompareThreadId(3, 3, L"never seen"));
    EXPECT_FALSE(QV_CompareThreadId(3, 4, nullptr));
    EXPECT_EQ(taken(), "");
    EXPECT_FALSE(QV_CompareThreadId(3, 4, L"100% different |srcid|"));
    EXPECT_TRUE(std::regex_match(
        taken(), std::regex("100% different src\\\\w32_system\\\\qvwinversion : \\d+\r\n")));
    std::thread(
        []
        {
            EXPECT_EQ(QV_GetMainThreadId() == GetCurrentThreadId(), false);
            EXPECT_FALSE(QV_CheckMainThreadId(nullptr, "narrow.cpp", 12));
            EXPECT_FALSE(QV_CheckMainThreadId(L"wrong thread", nullptr, 12));
        })
        .join();
    EXPECT_EQ(taken(), "Error File: narrow.cpp, Error Line: 12\r\nwrong thread\r\n");
}

TEST_F(Trace, ConcurrentRecordsNeitherMixNorTearTheirLocations)
{
    constexpr int threads = 4;
    constexpr int records = 500;
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i)
        all.emplace_back(
            [i]
            {
                const std::string file(static_cast<size_t>(40 + i * 200),
                                       static_cast<char>('a' + i));
                for (int k = 0; k < records; ++k)
                {
                    DiagOutputExW_hlp(file.c_str(), static_cast<int>(file.size()));
                    DiagOutputExW(L"|wndid:%d| %d %d |srcid|", i, i, k);
                }
            });
    for (std::thread& each : all)
        each.join();
    const std::string content = taken();
    int next[threads] = {};
    size_t lines = 0;
    for (size_t at = 0; at < content.size();)
    {
        const size_t end = content.find("\r\n", at);
        ASSERT_NE(end, std::string::npos);
        int window, thread, number, line;
        char file[1100];
        ASSERT_EQ(sscanf(content.substr(at, end - at).c_str(), "|wndid:%d| %d %d %1099s : %d",
                         &window, &thread, &number, file, &line),
                  5)
            << content.substr(at, end - at);
        EXPECT_EQ(window, thread);
        EXPECT_EQ(next[thread]++, number);
        const std::string name = file;
        EXPECT_EQ(name, std::string(static_cast<size_t>(line), name[0])) << "a torn location";
        at = end + 2;
        ++lines;
    }
    EXPECT_EQ(lines, static_cast<size_t>(threads * records));
}

} // namespace

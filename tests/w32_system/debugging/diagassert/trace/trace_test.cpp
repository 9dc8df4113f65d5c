// Trace records: their text, tags and destinations.
#include <algorithm>
#include <regex>
#include <sstream>
#include <thread>

#include "support/log_files.h"

using test::Wide;

namespace
{

// Records are written to the log, without a limit, and read back from it without their stamps.
class Trace : public test::FreshLog
{
protected:
    // The text of the records since the last call.
    std::string taken()
    {
        static const std::regex stamp(test::stamp_pattern);
        const std::string all = test::log_content();
        const std::string fresh = all.substr(m_seen);
        m_seen = all.size();
        return std::regex_replace(fresh, stamp, "");
    }
    // The text of one record.
    template <class... Arguments> std::string record(const wchar_t* format, Arguments... arguments)
    {
        DiagOutputExW(format, arguments...);
        return taken();
    }
    size_t m_seen = 0;
};

TEST_F(Trace, TagsAreReplacedAfterFormattingAndExactly)
{
    const std::string thread = std::to_string(GetCurrentThreadId());
    EXPECT_EQ(record(L"%s|", L"|thrid"), thread + "\r\n") << "a tag may come out of an argument";
    EXPECT_EQ(record(L"%s", L"100%s %n |thrid|"), "100%s %n " + thread + "\r\n")
        << "a percent sign in an argument is text";
    EXPECT_EQ(record(L"|adt08|x|ADT00|y|foo|z|adt"), "x|ADT00|y|foo|z\r\n");
    EXPECT_EQ(record(L"|wndid:|thrid|| |wndid:2147483647| |"),
              "|wndid:" + thread + "| |wndid:2147483647| |\r\n");
    EXPECT_TRUE(std::regex_match(record(L"|stime|"), std::regex("\\d\\d:\\d\\d:\\d\\d\r\n")));
    EXPECT_TRUE(std::regex_match(record(L"|appnm|"),
                                 std::regex("w32_system_debugging_tests(\\.exe)?\r\n")));
    EXPECT_EQ(record(L"ended\r\n") + record(L"half\n"), "ended\r\nhalf\n\r\n");
    // Before the tag: every position within a block that is searched at once, and lengths around
    // the size of the text's own buffer.
    for (const size_t before : {0u, 1u, 7u, 8u, 15u, 16u, 17u, 2039u, 2040u, 2041u, 2042u, 20'000u})
        EXPECT_EQ(record(L"%s|thrid|%c|y", Wide(before, L'x').c_str(), before % 2 ? L'z' : L'\0'),
                  std::string(before, 'x') + thread + (before % 2 ? "z|y\r\n" : "\r\n"))
            << before << ": a character of zero ends a text";
}

TEST_F(Trace, ByTheMacroHasItsPlaceAndEvaluatesNothingWithoutDetail)
{
    int evaluated = 0;
    const int line = __LINE__ + 1;
    PLINTH_TRACE(L"|nline| %s %hs %I64d %d", L"wide", "narrow", 1LL << 40, ++evaluated);
    EXPECT_EQ(taken(), std::to_string(line) + " wide narrow 1099511627776 1\r\n");
    CQvLogFile::EnableLog(false);
    ASSERT_FALSE(CQvLogFile::Detail());
    PLINTH_TRACE(L"%d", ++evaluated);
    CQvLogFile::EnableLog(true);
    EXPECT_EQ(evaluated, 1);
    DiagOutputExW(L"|nline|");
    EXPECT_NE(test::log_content().find(std::to_string(line + 4) + "\r\n"), std::string::npos)
        << "the place is set nevertheless";
}

TEST_F(Trace, TheSourceLocationIsThatOfTheLastCall)
{
    DiagOutputExW_hlp("some\\file", 42);
    EXPECT_EQ(record(L"|sfile| |nline| |srcid|"), "some\\file 42 some\\file : 42\r\n");
    EXPECT_EQ(record(L"|srcid|"), "some\\file : 42\r\n");
    std::thread([] { DiagOutputExW_hlp("other", 7); }).join();
    EXPECT_EQ(record(L"|srcid|"), "other : 7\r\n");
    DiagOutputExW_hlp(std::string(5000, 'p').c_str(), 1);
    EXPECT_EQ(record(L"|sfile|"), std::string(1023, 'p') + "\r\n");
    DiagOutputExW_hlp(nullptr, 1);
    EXPECT_EQ(record(L"|sfile|"), "(null)\r\n");
}

TEST_F(Trace, EachWindowAndEachStopwatchHasItsOwnTime)
{
    EXPECT_EQ(record(L"|wndid:500| |wnddt|"), "|wndid:500| 0.00\r\n");
    record(L"|adt03||adt04|");
    QV_Sleep(20, QV_PRECISION_SPIN);
    EXPECT_EQ(record(L"|wndid:700| |wnddt|"), "|wndid:700| 0.00\r\n");
    QV_Sleep(20, QV_PRECISION_SPIN);
    double window, own, again, since, same, other;
    ASSERT_EQ(sscanf(record(L"|wndid:500| |wnddt| |adt03| |adt03| |absdt| |absdt|").c_str(),
                     "|wndid:500| %lf %lf %lf %lf %lf", &window, &own, &again, &since, &same),
              5);
    EXPECT_GE(std::min(window, own), 40.0);
    EXPECT_EQ(again, 0.0) << "showing a stopwatch starts it anew";
    EXPECT_GE(since, 20.0) << "since the last record";
    EXPECT_EQ(since, same);
    sscanf(record(L"|adt04|").c_str(), "%lf", &other);
    EXPECT_GE(other, own);
}

TEST_F(Trace, WhatDoesNotFitIsCutWithAMark)
{
    constexpr size_t longest = 32'767 - 30; // without the stamp
    for (const size_t more : {0u, 1u, 2u, 40'000u})
    {
        const std::string text = record(L"%s", Wide(longest - 2 + more, L'x').c_str());
        EXPECT_EQ(text.size(), longest) << more;
        EXPECT_TRUE(text.ends_with(more == 0 ? "xx\r\n" : "x...\r\n")) << more;
    }
    // Expansions that begin near the limit: a long source file after much text, at several
    // distances.
    DiagOutputExW_hlp(std::string(1023, 'f').c_str(), 1);
    for (const size_t before : {32'000u, 32'700u, 32'730u, 32'737u, 32'738u, 32'760u})
    {
        const std::string text =
            record(L"%s|sfile||absdt||appnm||srcid|", Wide(before, L'x').c_str());
        EXPECT_EQ(text.size(), longest) << before;
        EXPECT_TRUE(text.ends_with("...\r\n")) << before;
    }
}

TEST_F(Trace, TheLastErrorSurvivesEveryFunctionOfTheFamily)
{
    CQvLogFile::CloseLog(); // so that the calls have to open a file
    SetLastError(4711);
    void (*const calls[])() = {[] { DiagOutputExW_hlp("file", 1); },
                               [] { DiagOutputExW(L"x |srcid| |appnm|"); },
                               [] { DiagOutputA("x %s", "y"); },
                               [] { DiagOutputW(L"x %s", L"y"); },
                               [] { TraceLastOsErr(); },
                               [] { EXPECT_EQ(DiagAssertW(0, L"x", nullptr, "file", 1), 1); },
                               [] { DiagAssertW(0, L"x", Wide(100'000, L'm'), "file", 1); }};
    for (const auto call : calls)
    {
        call();
        EXPECT_EQ(GetLastError(), 4711u) << "call " << &call - calls;
    }
    taken();
    for (const DWORD error : {5u, 0x12345678u})
    {
        SetLastError(error);
        TraceLastOsErr();
    }
    EXPECT_EQ(taken(), "Access is denied.\r\nUnknown error 305419896 (0x12345678)\r\n");
}

TEST_F(Trace, OptionsChooseTheDestinations)
{
    EXPECT_EQ(QV_SetTraceOptions(0), 0u);
    EXPECT_EQ(QV_SetTraceOptions(QV_DIAG_MSGBOX), 0x12u);
    EXPECT_EQ(record(L"silent"), "");
    EXPECT_EQ(QV_SetTraceOptions(0x8000'0010), 0x1u) << "other bits are kept and ignored";
    EXPECT_EQ(record(L"loud"), "loud\r\n");
    EXPECT_EQ(QV_GetTraceOptions(), 0x8000'0010u);
    EXPECT_EQ(QV_SetFailifOptions(0), 0u);
}

TEST_F(Trace, MainThreadChecksSpeakOnlyWhenTheyFail)
{
    EXPECT_FALSE(QV_CheckMainThreadId(L"nobody is main yet", "file", 1));
    EXPECT_EQ(taken(), "");
    EXPECT_EQ(QV_GetMainThreadId(), GetCurrentThreadId());
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
            EXPECT_NE(QV_GetMainThreadId(), GetCurrentThreadId());
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
    std::vector<std::jthread> all;
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
    all.clear(); // joins them
    std::istringstream content(taken());
    std::vector<int> next(threads);
    for (std::string text; std::getline(content, text);)
    {
        int window, thread, number, line, end = 0;
        char file[1100];
        sscanf(text.c_str(), "|wndid:%d| %d %d %1099s : %d\r%n", &window, &thread, &number, file,
               &line, &end);
        ASSERT_EQ(static_cast<size_t>(end), text.size()) << text;
        EXPECT_EQ(window, thread);
        EXPECT_EQ(next[static_cast<size_t>(thread)]++, number);
        EXPECT_EQ(file, std::string(static_cast<size_t>(line), file[0])) << "a torn location";
    }
    EXPECT_EQ(next, std::vector(threads, records));
}

} // namespace

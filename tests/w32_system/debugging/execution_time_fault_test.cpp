// The measurement of a block's time, by a tick that the test holds.
#include <plinth_platform_test.h>

#include "support/log_files.h"

namespace
{

// The texts of the records that end in " ms", without their stamps.
std::string measurements()
{
    std::string texts;
    const std::string content = test::log_content();
    for (size_t at = 0, end; (end = content.find("\r\n", at)) != std::string::npos; at = end + 2)
        if (const std::string line = content.substr(at, end - at); line.ends_with(" ms"))
            texts += line.substr(30) + ';';
    return texts;
}

using ExecutionTime = test::FreshLog;

TEST_F(ExecutionTime, ARecordPerBlockTheInnerOneFirst)
{
    PlinthTestSetTick(0xffff'ff00); // the tick wraps in the outer block
    {
        const CQvTraceExecutionTime outer(L"outer, 100%s", 0);
        PlinthTestSetTick(3000);
        {
            CQvTraceExecutionTime unnamed(L"", 1);
            PlinthTestSetTick(10'000);
            EXPECT_EQ(unnamed.GetTimeToNowMs(), 7000);
        }
        PlinthTestSetTick(0x0001'0000);
    }
    EXPECT_EQ(measurements(), " took 7000 ms;outer, 100%s took 65792 ms;");
}

TEST_F(ExecutionTime, ANameOf1024CharactersMakesNoRecord)
{
    PlinthTestSetTick(0);
    {
        const CQvTraceExecutionTime none(test::Wide(1024, L'n').c_str(), 0);
        const CQvTraceExecutionTime null(nullptr, 0);
    }
    EXPECT_EQ(measurements(), "");
    {
        const CQvTraceExecutionTime longest(test::Wide(1023, L'n').c_str(), 0);
    }
    EXPECT_EQ(measurements(), std::string(1023, 'n') + " took 0 ms;");
}

TEST_F(ExecutionTime, CopiesMakeNoSecondRecordAndFreeNothingTwice)
{
    PlinthTestSetTick(0);
    {
        const CQvTraceExecutionTime first(L"first", 0);
        CQvTraceExecutionTime copy(first);
        CQvTraceExecutionTime second(L"second", 0);
        PlinthTestSetTick(5000);
        EXPECT_EQ(copy.GetTimeToNowMs(), 5000);
        CQvTraceExecutionTime late(L"late", 0);
        second = late;
        late = *&late;
        EXPECT_EQ(second.GetTimeToNowMs(), 0);
    }
    EXPECT_EQ(measurements(), "late took 0 ms;first took 5000 ms;");
}

} // namespace

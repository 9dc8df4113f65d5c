// The measurement of a block's time, by a tick that the test holds.
#include <regex>

#include <plinth_platform_test.h>

#include "support/log_files.h"

namespace
{

using ExecutionTime = test::FreshLog;

TEST_F(ExecutionTime, CopiesAndNamesBeyondTheLimitMakeNoRecord)
{
    PlinthTestSetTick(0xFFFF'FC18); // the tick wraps within the block
    {
        const CQvTraceExecutionTime first(L"100%s", 0);
        CQvTraceExecutionTime copy(first);
        CQvTraceExecutionTime second(L"second", 0);
        PlinthTestSetTick(4000);
        EXPECT_EQ(copy.GetTimeToNowMs(), 5000);
        CQvTraceExecutionTime late(L"late", 0);
        second = late;
        late = *&late;
        EXPECT_EQ(second.GetTimeToNowMs(), 0);
    }
    {
        const CQvTraceExecutionTime none(test::Wide(1024, L'n').c_str(), 0);
        const CQvTraceExecutionTime null(nullptr, 0);
        const CQvTraceExecutionTime longest(test::Wide(1023, L'n').c_str(), 0);
    }
    EXPECT_EQ(std::regex_replace(test::log_content(), std::regex(test::stamp_pattern), ""),
              "late took 0 ms\r\n100%s took 5000 ms\r\n" + std::string(1023, 'n') +
                  " took 0 ms\r\n");
}

} // namespace

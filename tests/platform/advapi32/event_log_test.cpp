// Events in the system's log.

#include <syslog.h>

#include "support/test.h"

#include "support/refusal.h"
#include "support/system_log.h"

namespace
{

TEST(EventLog, WritesEachTypeWithItsPriority)
{
    test::clear_system_log();
    const HANDLE log = RegisterEventSourceW(nullptr, L"S\u00e9");
    ASSERT_NE(log, nullptr);
    const wchar_t* texts[] = {L"one\r\ntwo %s\r\n", L"three"};
    const std::pair<WORD, int> types[] = {{EVENTLOG_ERROR_TYPE, LOG_ERR},
                                          {EVENTLOG_WARNING_TYPE, LOG_WARNING},
                                          {EVENTLOG_AUDIT_FAILURE, LOG_NOTICE},
                                          {EVENTLOG_INFORMATION_TYPE, LOG_INFO}};
    for (const auto& [type, priority] : types)
    {
        EXPECT_TRUE(ReportEventW(log, type, 0, 0x80000001u, nullptr, 2, 0, texts, nullptr));
        EXPECT_EQ(test::system_log().back().priority, LOG_USER | priority) << type;
    }
    EXPECT_EQ(test::system_log().back().text, "S\xc3\xa9 (event 0x80000001): one\ntwo %s\nthree");
    EXPECT_EQ(RegisterEventSourceW(L"elsewhere", L"S"), nullptr);
    PlinthTestFail("syslog", 1, 1, EAGAIN);
    EXPECT_FALSE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 7, nullptr, 0, 0, nullptr, nullptr));
    PlinthTestReset();
    EXPECT_TRUE(DeregisterEventSource(log));
    EXPECT_EQ(test::refusal(DeregisterEventSource(log)), ERROR_INVALID_HANDLE);
    EXPECT_EQ(test::refusal(ReportEventW(log, 1, 0, 0, nullptr, 2, 0, texts, nullptr)),
              ERROR_INVALID_HANDLE);
}

} // namespace

// What the locale functions do when the system's calls fail.
#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/user_locale.h"

namespace
{

using test::utf8;

const SYSTEMTIME afternoon = {2024, 3, 2, 5, 15, 4, 9, 0};

class LocaleFailures : public testing::Test
{
protected:
    LocaleFailures() { test::set_locale("de_DE.UTF-8"); }
    ~LocaleFailures() override { PlinthTestReset(); }
    static void fail(const char* operation, unsigned count = 1)
    {
        PlinthTestFail(operation, 1, count, ERROR_OUTOFMEMORY);
    }
};

TEST_F(LocaleFailures, DateThatFailsStopsBeforeTheTime)
{
    wchar_t date[32] = L"as was";
    wchar_t time[32] = L"as was";
    fail("GetDateFormatW");
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, date, 32, time, 32), QV_ERR_SYSTEM);
    EXPECT_EQ(utf8(time), "as was");
    fail("GetTimeFormatW");
    EXPECT_EQ(QV_FormatLocaleDateTime(&afternoon, date, 32, time, 32), QV_ERR_SYSTEM);
}

TEST_F(LocaleFailures, ItemsThatCanNotBeReadCountAsZeroAndEmpty)
{
    wchar_t date[32];
    wchar_t time[32];
    fail("GetLocaleInfoW", 0);
    EXPECT_EQ(QV_GetLocaleDateTimeFormat(date, 32, time, 32), QV_OK);
    EXPECT_EQ(utf8(date), "%m%d%Y");
    EXPECT_EQ(utf8(time), "%I%M%S %p");
    EXPECT_EQ(QV_GetLocaleUserDateTimeFormat(date, 32), QV_OK);
    EXPECT_EQ(utf8(date), "MMDDYYYY hhMMSS pm");
}

TEST_F(LocaleFailures, NumberStaysPlainWithoutItsForm)
{
    wchar_t text[32];
    fail("GetNumberFormatW");
    EXPECT_TRUE(QV_DoubleToString(-2.5, 2, text, 32));
    EXPECT_EQ(utf8(text), "-2.5");
}

TEST_F(LocaleFailures, VariantTimeFailsWithAnyOfItsSteps)
{
    const tm time = {0, 0, 0, 1, 0, 124, 0, 0, 0, 0, nullptr};
    double result = 7;
    for (const char* step : {"FileTimeToSystemTime", "SystemTimeToVariantTime"})
    {
        fail(step);
        EXPECT_EQ(QV_TmToVariantTime(&time, &result), QV_ERR_SYSTEM) << step;
        PlinthTestReset();
    }
    EXPECT_EQ(result, 7);
}

} // namespace

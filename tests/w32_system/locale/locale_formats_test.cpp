// What holds in every locale, whatever the user's is.
#include <algorithm>
#include <climits>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

using test::utf8;

const SYSTEMTIME some_time = {2024, 3, 2, 5, 15, 4, 9, 0};

TEST(LocaleFormats, NullBuffersAreSkipped)
{
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_GetLocaleDateTimeFormat(nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_GetLocaleUserDateTimeFormat(nullptr, 9), QV_OK);
    EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_FormatLocaleDateTime(nullptr, nullptr, 0, nullptr, 0), QV_ERR_SYSTEM);
}

TEST(LocaleFormats, NoBufferIsWrittenBeyondItsSize)
{
    for (unsigned size = 0; size < 40; ++size)
    {
        wchar_t date[41];
        wchar_t time[41];
        const auto fill = [&]
        {
            std::fill(std::begin(date), std::end(date), L'#');
            std::fill(std::begin(time), std::end(time), L'#');
        };
        const auto untouched = [size](const wchar_t* text)
        { return std::all_of(text + size, text + 41, [](wchar_t c) { return c == L'#'; }); };
        const auto terminated = [size](const wchar_t* text)
        { return size == 0 || std::find(text, text + size, L'\0') != text + size; };

        fill();
        EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(date, size, time, size), QV_OK);
        EXPECT_TRUE(untouched(date) && untouched(time)) << size;
        EXPECT_TRUE(terminated(date) && terminated(time)) << size;
        fill();
        EXPECT_EQ(QV_GetLocaleDateTimeFormat(date, size, time, size), QV_OK);
        EXPECT_TRUE(untouched(date) && untouched(time)) << size;
        EXPECT_TRUE(terminated(date) && terminated(time)) << size;
        fill();
        EXPECT_EQ(QV_GetLocaleUserDateTimeFormat(date, size), QV_OK);
        EXPECT_TRUE(untouched(date) && terminated(date)) << size;
        fill();
        QV_FormatLocaleDateTime(&some_time, date, static_cast<int>(size), time,
                                static_cast<int>(size));
        EXPECT_TRUE(untouched(date) && untouched(time)) << size;
    }
}

TEST(LocaleFormats, SizesThatAreNoneFail)
{
    wchar_t text[64];
    EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, text, -1, nullptr, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, nullptr, 0, text, INT_MIN), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, text, 1, nullptr, 0), QV_ERR_SYSTEM);
}

TEST(TmToVariantTime, RefusesNullAndTimesThatDoNotExist)
{
    struct tm time = {};
    double result = 7;
    EXPECT_EQ(QV_TmToVariantTime(nullptr, &result), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_TmToVariantTime(&time, nullptr), QV_ERR_NULLPTR);

    const auto status = [&result](int year, int month, int day, int hour, int minute, int second)
    {
        struct tm bad = {};
        bad.tm_year = year;
        bad.tm_mon = month;
        bad.tm_mday = day;
        bad.tm_hour = hour;
        bad.tm_min = minute;
        bad.tm_sec = second;
        return QV_TmToVariantTime(&bad, &result);
    };
    EXPECT_EQ(status(124, 1, 30, 0, 0, 0), QV_ERR_SYSTEM) << "30 February";
    EXPECT_EQ(status(124, 12, 1, 0, 0, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(status(124, -1, 1, 0, 0, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(status(124, 0, 0, 0, 0, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(status(124, 0, 1, 24, 0, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(status(124, 0, 1, 0, 60, 0), QV_ERR_SYSTEM);
    EXPECT_EQ(status(124, 0, 1, 0, 0, 60), QV_ERR_SYSTEM) << "a leap second";
    EXPECT_EQ(status(124, 0, 1, 0, 0, -1), QV_ERR_SYSTEM);
    EXPECT_EQ(status(-300, 0, 1, 0, 0, 0), QV_ERR_SYSTEM) << "the year 1600";
    EXPECT_EQ(status(8101, 0, 1, 0, 0, 0), QV_ERR_SYSTEM) << "the year 10001";
    for (const int extreme : {INT_MAX, INT_MIN})
        EXPECT_EQ(status(extreme, extreme, extreme, extreme, extreme, extreme), QV_ERR_SYSTEM);
    EXPECT_EQ(result, 7) << "as it was";
}

} // namespace

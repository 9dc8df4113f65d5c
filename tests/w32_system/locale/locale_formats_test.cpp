// Rules for every locale, whatever the user's is.
#include <climits>
#include <tuple>

#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

const SYSTEMTIME some_time = {2024, 3, 2, 5, 15, 4, 9, 0};

TEST(LocaleFormats, NullBuffersAreSkippedAndSizesThatAreNoneFail)
{
    EXPECT_EQ(QV_GetLocaleShortDateTimeFormat(nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_GetLocaleDateTimeFormat(nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_GetLocaleUserDateTimeFormat(nullptr, 9), QV_OK);
    EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, nullptr, 9, nullptr, 9), QV_OK);
    EXPECT_EQ(QV_FormatLocaleDateTime(nullptr, nullptr, 0, nullptr, 0), QV_ERR_SYSTEM);
    wchar_t text[64];
    for (const int size : {-1, 1})
        EXPECT_EQ(QV_FormatLocaleDateTime(&some_time, text, size, nullptr, 0), QV_ERR_SYSTEM);
}

TEST(LocaleFormats, NoBufferIsWrittenBeyondItsSize)
{
    using Call = int (*)(wchar_t * date, wchar_t * time, unsigned size);
    static constexpr Call calls[] = {
        [](wchar_t* date, wchar_t* time, unsigned size)
        { return QV_GetLocaleShortDateTimeFormat(date, size, time, size); },
        [](wchar_t* date, wchar_t* time, unsigned size)
        { return QV_GetLocaleDateTimeFormat(date, size, time, size); },
        [](wchar_t* date, wchar_t* time, unsigned size) {
            return QV_GetLocaleUserDateTimeFormat(date, size) +
                   QV_GetLocaleUserDateTimeFormat(time, size);
        },
        [](wchar_t* date, wchar_t* time, unsigned size)
        {
            const int fits = static_cast<int>(size);
            return QV_FormatLocaleDateTime(&some_time, date, fits, time, fits);
        }};
    for (size_t call = 0; call < std::size(calls); ++call)
        for (unsigned size = 0; size < 40; ++size)
        {
            std::vector<wchar_t> date(41, L'#'), time(41, L'#');
            const int status = calls[call](date.data(), time.data(), size);
            EXPECT_TRUE(status == QV_OK || call == 3) << call << ", " << size;
            for (const auto& text : {date, time})
            {
                const auto end = text.begin() + size;
                EXPECT_EQ(std::count(end, text.end(), L'#'), 41 - size) << call << ", " << size;
                EXPECT_TRUE(size == 0 || status != QV_OK ||
                            std::find(text.begin(), end, L'\0') != end)
                    << call << ", " << size;
            }
        }
}

TEST(TmToVariantTime, RefusesNullAndTimesThatDoNotExist)
{
    struct tm time = {};
    double result = 7;
    EXPECT_EQ(QV_TmToVariantTime(nullptr, &result), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_TmToVariantTime(&time, nullptr), QV_ERR_NULLPTR);

    // Year, month, day, hour, minute, second.
    for (const auto& bad : {std::tuple{124, 1, 30, 0, 0, 0}, // 30 February
                            {124, 12, 1, 0, 0, 0},
                            {124, 0, 0, 0, 0, 0},
                            {124, 0, 1, 24, 0, 0},
                            {124, 0, 1, 0, 60, 0},
                            {124, 0, 1, 0, 0, 60}, // a leap second
                            {-300, 0, 1, 0, 0, 0}, // 1600
                            {8101, 0, 1, 0, 0, 0}, // 10001
                            {INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN}})
    {
        std::tie(time.tm_year, time.tm_mon, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec) =
            bad;
        EXPECT_EQ(QV_TmToVariantTime(&time, &result), QV_ERR_SYSTEM) << testing::PrintToString(bad);
    }
    EXPECT_EQ(result, 7) << "as it was";
}

} // namespace

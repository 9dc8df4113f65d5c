// Date and time pictures without any locale.
#include "kernel32/locale_picture.h"

#include <tuple>
#include <utility>

#include <gtest/gtest.h>

namespace
{

using namespace platform;

TEST(LocalePicture, StandsForTheStrftimeFormat)
{
    static constexpr std::pair<const char*, const char*> rows[] = {
        {"%d.%m.%Y", "dd.MM.yyyy"},
        {"%e.%m.%y", "d.MM.yy"},
        {"%-d/%-m/%y", "d/M/yy"},
        {"%D", "MM/dd/yy"},
        {"%F", "yyyy-MM-dd"},
        {"%Y年%m月%d日", "yyyy年MM月dd日"},
        {"%A, %d. %B %Y", "dddd, dd. MMMM yyyy"},
        {"%a %b %h", "ddd MMM MMM"},
        {"%a, %Y.eko %bren %da", "ddd, yyyy'.eko 'MMM'ren 'dd'a'"},
        {"%Y o'clock", "yyyy' o''clock'"},
        {"%Oy/%Om/%Od", "yy/MM/dd"},
        {"%d/%m/%Ey", "dd/MM/yyyy"},
        {"%T", "HH:mm:ss"},
        {"%R", "HH:mm"},
        {"%k:%M:%S", "H:mm:ss"},
        {"%r", "hh:mm:ss tt"},
        {"%l:%M:%S %P", "h:mm:ss tt"},
        {"%Z %I:%M:%S %p", "hh:mm:ss tt"},
        {"%I:%M:%S %p %Z", "hh:mm:ss tt"},
        {"kl. %H.%M %z", "'kl. 'HH.mm"},
        {"%d%%%m", "dd%MM"},
        {"%d%n%m%t%y", "dd MM yy"},
        {"%d%", "dd"},
        {"%Q%d", "dd"}};
    for (const auto& [format, picture] : rows)
        EXPECT_EQ(picture_from_format(format, ""), picture) << format;
    for (const char* const nothing : {"", "%", "%E"})
        EXPECT_EQ(picture_from_format(nothing, ""), "") << nothing;
    EXPECT_EQ(picture_from_format("%r", "%p %I.%M"), "tt hh.mm");
    EXPECT_EQ(picture_from_format("%r", "%r"), "") << "a format that means itself";
}

TEST(LocalePicture, DateHasOrderAndSeparator)
{
    static constexpr std::tuple<const char*, int, const char*> rows[] = {
        {"MM/dd/yyyy", 0, "/"},
        {"dd.MM.yyyy", 1, "."},
        {"yyyy-MM-dd", 2, "-"},
        {"dd. MM. yyyy", 1, ". "},
        {"yyyy.MM.dd.", 2, "."},
        {"dddd dd-MM-yy", 1, "-"},
        {"yyyy年MM月dd日", 2, "/"}, // the parts have separators of their own
        {"dd/MM-yyyy", 1, "/"},
        {"dddd d MMMM yyyy", 1, "/"}, // a blank divides words, not numbers
        {"d MMM", 1, "/"},
        {"MM'of'yyyy", 0, "of"},
        {"dd----MM----yyyy", 1, "/"}, // longer than a separator may be
        {"ddMMyyyy", 1, "/"},
        {"", 0, "/"}};
    for (const auto& [picture, order, separator] : rows)
    {
        const DateShape shape = date_shape(picture);
        EXPECT_EQ(std::tuple(shape.order, shape.separator), std::tuple(order, separator))
            << picture;
    }
}

TEST(LocalePicture, TimeHasHoursMarkAndSeparator)
{
    static constexpr std::tuple<const char*, bool, bool, const char*> rows[] = {
        {"HH:mm:ss", true, false, ":"},
        {"hh:mm:ss tt", false, false, ":"},
        {"tt h:mm:ss", false, true, ":"},
        {"H.mm", true, false, "."},
        {"'kl. 'HH.mm", true, false, "."},
        {"HH時mm分ss秒", true, false, ":"},
        {"", true, false, ":"}};
    for (const auto& [picture, hours24, mark_first, separator] : rows)
    {
        const TimeShape shape = time_shape(picture);
        EXPECT_EQ(std::tuple(shape.hours24, shape.mark_first, shape.separator),
                  std::tuple(hours24, mark_first, separator))
            << picture;
    }
}

} // namespace

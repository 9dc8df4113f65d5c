// The environment's locale settings for numbers, dates and times.
//
// LC_ALL, else LC_NUMERIC or LC_TIME, else LANG names the locale, as for any program; a locale that
// doesn't exist counts as "C". The process's own locale is neither read nor changed.
#pragma once

#include <array>
#include <memory>
#include <string>

namespace platform
{

// All text is UTF-8, whatever the locale's character set is.
struct LocaleData
{
    std::string decimal;
    std::string thousand;
    std::string grouping;   // in the system's form: "3;0", "3;2;0", "0" for none
    std::string short_date; // pictures
    std::string time;
    std::string am;
    std::string pm;
    std::array<std::string, 7> days; // from Sunday on
    std::array<std::string, 7> short_days;
    std::array<std::string, 12> months; // used without a day
    std::array<std::string, 12>
        months_of_date; // used beside a day, in languages with two forms of a month's name
    std::array<std::string, 12> short_months;
    int year_offset = 0; // added to a common year in dates
};

// The data of the locale that the environment names now; the returned object doesn't change.
std::shared_ptr<const LocaleData> locale_data();

} // namespace platform

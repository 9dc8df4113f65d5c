#include "place.h"

#include <cstdio>

#include "text.h"

namespace trace
{

std::string rfc3339_text(Time time)
{
    constexpr size_t length = 24; // of a year with four digits
    std::string text = utc_text(time);
    if (text.size() != length || text.starts_with('-'))
        return {};
    // To the microsecond: a stamp has milliseconds.
    char fraction[8];
    const Time within = (time % millisecond + millisecond) % millisecond;
    std::snprintf(fraction, sizeof fraction, "%03dZ", static_cast<int>(within));
    return text.replace(length - 1, 1, fraction);
}

std::string mark_text(const LogMark& mark)
{
    char text[20];
    const int length =
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(mark.hash));
    return {text, static_cast<size_t>(length)};
}

} // namespace trace

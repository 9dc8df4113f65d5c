// Date and time pictures: reading them, making them from strftime formats, and finding their shape.
// All text is UTF-8, and nothing here reads a locale.
//
// A picture is a text in which d, M, y and g (dates) or h, H, m, s and t (times) are fields, whose
// form depends on how often the letter is repeated: "d" is 5, "dd" 05, "ddd" Tue, "dddd" Tuesday.
// Everything else is literal text, and so are letters between single quotes; a doubled quote within
// them is a quote.
#pragma once

#include <string>
#include <string_view>

namespace platform
{

enum class PictureKind
{
    date,
    time,
};

// Returns one part after the other: a letter and how often it is repeated, or literal text.
class PictureReader
{
public:
    struct Part
    {
        char letter = '\0'; // '\0': literal
        size_t count = 0;
        std::string_view literal; // not empty
    };

    PictureReader(std::string_view picture, PictureKind kind) : m_rest(picture), m_kind(kind) {}
    bool next(Part& part); // false at the end

private:
    bool is_field(char c) const;

    std::string_view m_rest;
    const PictureKind m_kind;
    bool m_quoted = false;
};

// The picture of a strftime format. Zones have no letter in pictures and are dropped, with the
// blanks at the ends. twelve_hour is the format that %r means.
std::string picture_from_format(std::string_view format, std::string_view twelve_hour);

struct DateShape
{
    int order = 0;         // 0 month-day-year, 1 day-month-year, 2 year-month-day
    std::string separator; // between the numbers
};

struct TimeShape
{
    bool hours24 = true;
    bool mark_first = false;
    std::string separator;
};

// A picture has its own separator only if all its numbers are divided by the same short text;
// others ("2024年3月5日", "5 March 2024") use "/" for dates and ":" for times, which readers
// understand between bare numbers.
DateShape date_shape(std::string_view picture);
TimeShape time_shape(std::string_view picture);

} // namespace platform

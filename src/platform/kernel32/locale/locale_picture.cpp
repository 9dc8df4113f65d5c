#include "locale_picture.h"

#include <algorithm>
#include <utility>

namespace platform
{

namespace
{

bool is_ascii_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Collects fields and literal text, and quotes letters that would be read as a field.
class PictureWriter
{
public:
    void field(std::string_view letters)
    {
        flush();
        m_picture += letters;
    }
    void literal(char c) { m_literal += c; }
    std::string finish()
    {
        flush();
        const size_t first = m_picture.find_first_not_of(' ');
        if (first == std::string::npos)
            return "";
        return m_picture.substr(first, m_picture.find_last_not_of(' ') + 1 - first);
    }

private:
    void flush()
    {
        const bool quote = std::any_of(m_literal.begin(), m_literal.end(),
                                       [](char c) { return is_ascii_letter(c) || c == '\''; });
        if (quote)
            m_picture += '\'';
        for (const char c : m_literal)
            m_picture.append(c == '\'' ? 2 : 1, c);
        if (quote)
            m_picture += '\'';
        m_literal.clear();
    }

    std::string m_picture;
    std::string m_literal;
};

// The meaning of a conversion of strftime: letters, or another format to translate.
struct Conversion
{
    char letter;
    const char* field;  // of the picture
    const char* format; // null: field holds
};

constexpr Conversion conversions[] = {
    {'a', "ddd", nullptr},   {'A', "dddd", nullptr},     {'b', "MMM", nullptr},
    {'h', "MMM", nullptr},   {'B', "MMMM", nullptr},     {'d', "dd", nullptr},
    {'e', "d", nullptr},     {'m', "MM", nullptr},       {'y', "yy", nullptr},
    {'Y', "yyyy", nullptr},  {'G', "yyyy", nullptr},     {'H', "HH", nullptr},
    {'k', "H", nullptr},     {'I', "hh", nullptr},       {'l', "h", nullptr},
    {'M', "mm", nullptr},    {'S', "ss", nullptr},       {'p', "tt", nullptr},
    {'P', "tt", nullptr},    {'D', nullptr, "%m/%d/%y"}, {'F', nullptr, "%Y-%m-%d"},
    {'R', nullptr, "%H:%M"}, {'T', nullptr, "%H:%M:%S"},
};

// Formats nest one level deep (%r); a %r within the inner one is not translated.
void translate(std::string_view format, std::string_view twelve_hour, PictureWriter& writer)
{
    bool century = false; // just written: the century and a year within it are one field
    for (size_t at = 0; at < format.size(); ++at)
    {
        if (format[at] != '%')
        {
            writer.literal(format[at]);
            century = false;
            continue;
        }
        // Flags, a width, and the modifiers for other digits and eras.
        const size_t letter = format.find_first_not_of("-_0^#+123456789EO", at + 1);
        if (letter == std::string_view::npos)
            return;
        const std::string_view between = format.substr(at + 1, letter - at - 1);
        at = letter;
        const char c = format[at];
        if (c == '%')
            writer.literal('%');
        if (c == 'n' || c == 't')
            writer.literal(' ');
        if (c == 'r' && !twelve_hour.empty())
            translate(twelve_hour, "", writer);
        const Conversion* const found =
            std::find_if(std::begin(conversions), std::end(conversions),
                         [c](const Conversion& each) { return each.letter == c; });
        const bool after_century = std::exchange(century, c == 'C');
        if (found == std::end(conversions))
            continue;
        if (found->format)
        {
            translate(found->format, "", writer);
            continue;
        }
        std::string_view field = found->field;
        if (field.size() == 2 && c != 'p' && c != 'P' && c != 'y' &&
            between.find('-') != std::string_view::npos)
            field.remove_suffix(1); // "%-d": no leading zero
        // The years of an era have as many digits as needed.
        if (c == 'y' && (after_century || between.find('E') != std::string_view::npos))
            field = "yyyy";
        writer.field(field);
    }
}

// The separator of a picture's numbers: the text between the first two of them and also, if there
// are three, between the last two. It counts only if the literal text holds no other field.
class Separator
{
public:
    void number()
    {
        if (m_numbers == 1)
            m_first = m_between;
        else if (m_numbers > 1 && m_between != m_first)
            m_uniform = false;
        ++m_numbers;
        m_between.clear();
    }
    void literal(std::string_view text) { m_between += text; }
    void spoil() { m_uniform = false; }
    std::string get(const char* otherwise) const
    {
        // The system's separators have at most three characters; counting bytes is enough.
        constexpr size_t longest = 3;
        return m_uniform && m_numbers > 1 && !m_first.empty() && m_first.size() <= longest
                   ? m_first
                   : otherwise;
    }

private:
    std::string m_first;
    std::string m_between;
    int m_numbers = 0;
    bool m_uniform = true;
};

} // namespace

bool PictureReader::is_field(char c) const
{
    const std::string_view letters = m_kind == PictureKind::date ? "dMyg" : "hHmst";
    return letters.find(c) != std::string_view::npos;
}

bool PictureReader::next(Part& part)
{
    const auto take = [this](size_t count)
    {
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    };
    part = {};
    while (!m_rest.empty())
    {
        if (m_rest[0] == '\'')
        {
            const bool doubled = m_quoted && m_rest.size() > 1 && m_rest[1] == '\'';
            const std::string_view quotes = take(doubled ? 2 : 1);
            if (doubled)
            {
                part.literal = quotes.substr(1);
                return true;
            }
            m_quoted = !m_quoted;
        }
        else if (m_quoted)
        {
            part.literal = take(std::min(m_rest.find('\''), m_rest.size()));
            return true;
        }
        else if (is_field(m_rest[0]))
        {
            part.letter = m_rest[0];
            part.count = std::min(m_rest.find_first_not_of(part.letter), m_rest.size());
            take(part.count);
            return true;
        }
        else
        {
            size_t count = 1;
            while (count < m_rest.size() && m_rest[count] != '\'' && !is_field(m_rest[count]))
                ++count;
            part.literal = take(count);
            return true;
        }
    }
    return false;
}

std::string picture_from_format(std::string_view format, std::string_view twelve_hour)
{
    PictureWriter writer;
    translate(format, twelve_hour.empty() ? "%I:%M:%S %p" : twelve_hour, writer);
    return writer.finish();
}

DateShape date_shape(std::string_view picture)
{
    DateShape shape;
    Separator separator;
    PictureReader reader(picture, PictureKind::date);
    bool first = true;
    for (PictureReader::Part part; reader.next(part);)
    {
        if (!part.letter)
            separator.literal(part.literal);
        else if (part.letter != 'g' && !(part.letter == 'd' && part.count > 2))
        {
            if (first)
                shape.order = part.letter == 'M' ? 0 : part.letter == 'd' ? 1 : 2;
            first = false;
            separator.number();
            if (part.letter == 'M' && part.count > 2)
                separator.spoil();
        }
    }
    shape.separator = separator.get("/");
    return shape;
}

TimeShape time_shape(std::string_view picture)
{
    TimeShape shape;
    Separator separator;
    PictureReader reader(picture, PictureKind::time);
    bool hours = false;
    for (PictureReader::Part part; reader.next(part);)
    {
        if (!part.letter)
            separator.literal(part.literal);
        else if (part.letter == 't')
            shape.mark_first |= !hours;
        else
        {
            if (part.letter == 'h' || part.letter == 'H')
            {
                shape.hours24 = part.letter == 'H';
                hours = true;
            }
            separator.number();
        }
    }
    shape.separator = separator.get(":");
    return shape;
}

} // namespace platform

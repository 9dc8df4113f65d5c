#include "kernel_text.h"

#include <algorithm>

namespace platform
{

std::optional<uint64_t> leading_number(std::string_view text)
{
    uint64_t number = 0;
    size_t at = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        if (__builtin_mul_overflow(number, 10u, &number) ||
            __builtin_add_overflow(number, static_cast<unsigned>(text[at] - '0'), &number))
            return std::nullopt;
    const bool ends = at == text.size() || text[at] == ' ' || text[at] == '\t' || text[at] == '\n';
    return at != 0 && ends ? std::optional(number) : std::nullopt;
}

bool next_line(std::string_view& text, std::string_view& line)
{
    if (text.empty())
        return false;
    const size_t end = text.find('\n');
    line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return true;
}

std::string_view next_field(std::string_view& line)
{
    constexpr const char* blanks = " \t";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const std::string_view field = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(field.size());
    return field;
}

} // namespace platform

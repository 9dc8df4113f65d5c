#include "text_shape.h"

#include <algorithm>

#include "pattern.h"
#include "record_time.h"

namespace trace
{

namespace
{

// The length of the compared part of a text, in bytes: an expression has limits, too.
constexpr size_t most_compared = 400;

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hex_digits = "0123456789abcdefABCDEF";

bool is_word(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           (c & 0x80) != 0;
}

size_t length_of(std::string_view text, std::string_view characters)
{
    return std::min(text.find_first_not_of(characters), text.size());
}

// The generalised part at the start of the rest: its length, 0 for none, and the expression for it.
struct Part
{
    size_t length = 0;
    const char* expression = "";
};

Part quoted_part(std::string_view rest, bool after_word)
{
    const char quote = rest.front();
    // Within a word it is an apostrophe.
    if (quote != '"' && (quote != '\'' || after_word))
        return {};
    const size_t end = rest.find(quote, 1);
    if (end == std::string_view::npos || rest.substr(0, end).find('\n') != std::string_view::npos)
        return {};
    return {end + 1, quote == '"' ? "\"[^\"]*\"" : "'[^']*'"};
}

Part number_part(std::string_view rest, bool after_word)
{
    constexpr size_t least_hex = 8; // shorter ones are more likely words: "cafe", "dead"
    if (rest.starts_with("0x") || rest.starts_with("0X"))
        if (const size_t length = length_of(rest.substr(2), hex_digits))
            return {length + 2, "0[xX][0-9A-Fa-f]+"};
    const size_t hex = length_of(rest, hex_digits);
    const size_t whole = length_of(rest, digits);
    if (!after_word && hex >= least_hex && hex > whole &&
        rest.substr(0, hex).find_first_of(digits) != std::string_view::npos &&
        (hex == rest.size() || !is_word(rest[hex])))
        return {hex, "[0-9A-Fa-f]+"};
    if (whole == 0)
        return {};
    if (whole + 1 < rest.size() && rest[whole] == '.')
        if (const size_t fraction = length_of(rest.substr(whole + 1), digits))
            return {whole + 1 + fraction, "[0-9]+(?:\\.[0-9]+)?"};
    return {whole, "[0-9]+(?:\\.[0-9]+)?"};
}

} // namespace

std::string expression_like(std::string_view text)
{
    std::string out = "^";
    if (const std::optional<Stamp> stamp = stamp_of(text))
    {
        constexpr std::string_view marker = "*vtq* ";
        out = literal(marker);
        text.remove_prefix(stamp->length);
    }
    const bool is_whole = text.size() <= most_compared;
    std::string_view rest = text.substr(0, most_compared);
    // Doesn't cut in the middle of a character.
    while (!is_whole && !rest.empty() && (text[rest.size()] & 0xC0) == 0x80)
        rest.remove_suffix(1);
    size_t plain = 0; // unchanged text, up to here
    for (size_t at = 0; at < rest.size();)
    {
        const bool after_word = at > 0 && is_word(rest[at - 1]);
        Part part = quoted_part(rest.substr(at), after_word);
        if (part.length == 0)
            part = number_part(rest.substr(at), after_word);
        if (part.length == 0)
        {
            ++at;
            continue;
        }
        out += literal(rest.substr(plain, at - plain)) + part.expression;
        at += part.length;
        plain = at;
    }
    return out + literal(rest.substr(plain)) + (is_whole ? "$" : "");
}

} // namespace trace

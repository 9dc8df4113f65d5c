#include "pattern.h"

#include <utility>

namespace trace
{

namespace
{

// Each costs some milliseconds: together they delay a viewer by less than a second.
constexpr uint64_t most_given_up = 50;

} // namespace

struct Pattern::Shared
{
    std::string text;
    std::unique_ptr<PatternEngine> engine;
    uint64_t given_up = 0;
};

// Writes a semicolon by its number, which has the same meaning within brackets.
std::string without_divider(std::string text)
{
    constexpr std::string_view undivided = ";\\x3b";
    for (size_t at = 0; (at = text.find(pattern_divider, at)) != std::string::npos;)
        text.replace(at, pattern_divider.size(), undivided);
    return text;
}

std::string literal(std::string_view text)
{
    std::string out;
    for (const char c : text)
    {
        switch (c)
        {
        case '\t':
            out += "\\t";
            continue;
        case '\n':
            out += "\\n";
            continue;
        case '\r':
            out += "\\r";
            continue;
        default:
            break;
        }
        if (std::string_view("\\^$.|?*+()[]{}/").find(c) != std::string_view::npos)
            out += '\\';
        out += c;
    }
    return out;
}

Pattern::Pattern(const std::string& text, Case letters)
    : m_shared(std::make_shared<Shared>(Shared{text, make_pattern_engine(text, letters)}))
{
}

Found Pattern::in(std::string_view text) const
{
    Span span;
    return find(text, 0, span);
}

Found Pattern::find(std::string_view text, size_t from, Span& span) const
{
    const Found found = is_off() ? Found::gave_up : m_shared->engine->find(text, from, span);
    if (found == Found::gave_up)
        ++m_shared->given_up;
    return found;
}

const std::string& Pattern::text() const
{
    return m_shared->text;
}

uint64_t Pattern::given_up() const
{
    return m_shared->given_up;
}

bool Pattern::is_off() const
{
    return m_shared->given_up >= most_given_up;
}

} // namespace trace

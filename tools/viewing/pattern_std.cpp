// For builds without PCRE2: the Windows build.
#include "pattern.h"

#include <regex>

namespace trace
{

namespace
{

class StdEngine : public PatternEngine
{
public:
    StdEngine(const std::string& text, Case letters)
    {
        try
        {
            auto flags = std::regex::ECMAScript | std::regex::optimize;
            if (letters == Case::ignored)
                flags |= std::regex::icase;
            m_regex.assign(text, flags);
        }
        catch (const std::regex_error& error)
        {
            throw BadPattern(error.what());
        }
    }

    Found find(std::string_view text, size_t from, Span& span) override
    {
        // The library searches recursively: a long text would exhaust the stack.
        constexpr size_t most_text = 8 << 10;
        if (text.size() > most_text)
            return Found::gave_up;
        try
        {
            std::cmatch match;
            const char* const end = text.data() + text.size();
            const auto flags = from == 0 ? std::regex_constants::match_default
                                         : std::regex_constants::match_prev_avail;
            if (!std::regex_search(text.data() + from, end, match, m_regex, flags))
                return Found::no;
            span.start = from + static_cast<size_t>(match.position());
            span.end = span.start + static_cast<size_t>(match.length());
            return Found::yes;
        }
        catch (const std::regex_error&)
        {
            return Found::gave_up;
        }
    }

private:
    std::regex m_regex;
};

} // namespace

std::unique_ptr<PatternEngine> make_pattern_engine(const std::string& text, Case letters)
{
    return std::make_unique<StdEngine>(text, letters);
}

} // namespace trace

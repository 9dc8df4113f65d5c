// Which names a directory search asks for. All readings of the mask are followed at once, so no
// mask causes deep recursion and none takes longer than its length times the name's.
#include "search_mask.h"

#include <algorithm>

#include "system/text.h"

namespace platform
{

namespace
{

bool is_wildcard(wchar_t c)
{
    return c == L'*' || c == L'?';
}

} // namespace

bool has_wildcard(const wchar_t* mask)
{
    return std::any_of(mask, mask + wide_length(mask), is_wildcard);
}

SearchMask::SearchMask(const wchar_t* mask)
{
    const std::u16string_view whole(reinterpret_cast<const char16_t*>(mask), wide_length(mask));
    m_everything = whole == u"*" || whole == u"*.*";
    const size_t end = whole.find_last_not_of(u'.') + 1;
    const bool asks_for_no_dot =
        end > 0 && end < whole.size() && is_wildcard(static_cast<wchar_t>(whole[end - 1]));
    read(asks_for_no_dot ? whole.substr(0, end) : whole);
    if (asks_for_no_dot && m_steps.back().kind == Kind::any)
        m_steps.back().kind = Kind::up_to_dot;
    m_reached.resize(m_steps.size() + 1);
}

void SearchMask::read(std::u16string_view mask)
{
    for (size_t i = 0; i < mask.size(); ++i)
    {
        const auto c = static_cast<wchar_t>(mask[i]);
        const auto next = i + 1 < mask.size() ? static_cast<wchar_t>(mask[i + 1]) : L'\0';
        Kind kind = Kind::character;
        if (c == L'*')
            kind = next == L'.' ? Kind::up_to_dot : Kind::any;
        else if (c == L'?')
            kind = Kind::one;
        else if (c == L'.' && is_wildcard(next))
            kind = Kind::dot_or_nothing;
        m_steps.push_back({kind, fold_case(c)});
    }
}

struct SearchMask::Rest
{
    size_t first; // steps
    size_t last;
    size_t begin; // characters of the name
    size_t end;
    size_t length; // of the whole name
    size_t last_dot;
};

// False if they differ from those of the name.
bool SearchMask::take_ends(const wchar_t* name, Rest& rest) const
{
    const auto is_character = [this](size_t step, wchar_t c)
    { return m_steps[step].character == fold_case(c); };
    for (; rest.first < rest.last && m_steps[rest.first].kind == Kind::character; ++rest.first)
        if (rest.begin == rest.end || !is_character(rest.first, name[rest.begin++]))
            return false;
    for (; rest.first < rest.last && m_steps[rest.last - 1].kind == Kind::character; --rest.last)
        if (rest.begin == rest.end || !is_character(rest.last - 1, name[--rest.end]))
            return false;
    return true;
}

// Also reaches steps that may match nothing before the next character.
void SearchMask::pass_empty(const Rest& rest, bool at_dot, bool at_end)
{
    for (size_t i = rest.first; i < rest.last; ++i)
    {
        const Kind kind = m_steps[i].kind;
        const bool may_be_empty = kind == Kind::any || kind == Kind::up_to_dot ||
                                  (kind == Kind::one && (at_dot || at_end)) ||
                                  (kind == Kind::dot_or_nothing && at_end);
        if (m_reached[i] && may_be_empty)
            m_reached[i + 1] = 1;
    }
}

void SearchMask::take(const Rest& rest, wchar_t c, bool is_last_dot)
{
    for (size_t i = rest.last + 1; i-- > rest.first;)
    {
        bool reached = false;
        if (i > rest.first && m_reached[i - 1])
        {
            const Step& step = m_steps[i - 1];
            reached = (step.kind == Kind::one && c != L'.') ||
                      (step.kind == Kind::dot_or_nothing && c == L'.') ||
                      (step.kind == Kind::character && step.character == c);
        }
        if (i < rest.last && m_reached[i])
            reached |= m_steps[i].kind == Kind::any ||
                       (m_steps[i].kind == Kind::up_to_dot && !is_last_dot);
        m_reached[i] = reached;
    }
}

bool SearchMask::follow(const wchar_t* name, const Rest& rest)
{
    std::ranges::fill(m_reached, 0);
    m_reached[rest.first] = 1;
    for (size_t i = rest.begin; i < rest.end; ++i)
    {
        pass_empty(rest, name[i] == L'.', false);
        take(rest, fold_case(name[i]), i == rest.last_dot);
    }
    pass_empty(rest, rest.end < rest.length && name[rest.end] == L'.', rest.end == rest.length);
    return m_reached[rest.last] != 0;
}

bool SearchMask::matches(const wchar_t* name)
{
    if (m_everything)
        return true;
    const size_t length = wide_length(name);
    Rest rest{0, m_steps.size(), 0, length, length, length};
    for (size_t i = 0; i < length; ++i)
        if (name[i] == L'.')
            rest.last_dot = i;
    if (!take_ends(name, rest))
        return false;
    if (rest.last - rest.first != 1 || m_steps[rest.first].kind == Kind::one ||
        m_steps[rest.first].kind == Kind::dot_or_nothing)
        return follow(name, rest);
    return m_steps[rest.first].kind == Kind::any || rest.last_dot < rest.begin ||
           rest.last_dot >= rest.end;
}

} // namespace platform

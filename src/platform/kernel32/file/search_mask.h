// The mask of a directory search: which names it asks for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform
{

// A mask is read as the system's searches do. '?' is one character other than a dot, or nothing
// before a dot and at the end of the name. A dot before a wildcard may match nothing at the end of
// the name. '*' before a dot is everything up to the last dot of the name, elsewhere any
// characters. Dots after a wildcard at the end match names without a dot there.
class SearchMask
{
public:
    explicit SearchMask(const wchar_t* mask);
    bool matches(const wchar_t* name);

private:
    enum class Kind : unsigned char
    {
        character,
        any,           // '*'
        up_to_dot,     // '*' before a dot
        one,           // '?'
        dot_or_nothing // a dot before a wildcard
    };
    struct Step
    {
        Kind kind;
        wchar_t character; // folded
    };
    void read(std::u16string_view mask);
    struct Rest; // of the mask and the name, without the characters at both ends
    bool take_ends(const wchar_t* name, Rest& rest) const;
    bool follow(const wchar_t* name, const Rest& rest);
    void pass_empty(const Rest& rest, bool at_dot, bool at_end);
    void take(const Rest& rest, wchar_t c, bool is_last_dot);

    std::vector<Step> m_steps;
    bool m_everything = false;
    // Whether the first n steps can match the characters so far.
    std::vector<unsigned char> m_reached;
};

// Whether a name has wildcards.
bool has_wildcard(const wchar_t* mask);

} // namespace platform

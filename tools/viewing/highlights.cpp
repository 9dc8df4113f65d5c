#include "highlights.h"

#include <algorithm>

namespace trace
{

std::vector<Highlight> Highlights::in(std::string_view text) const
{
    std::vector<Highlight> places;
    for (size_t colour = 0; colour < m_patterns.size(); ++colour)
    {
        Span span;
        for (size_t at = 0; at <= text.size(); at = std::max(span.end, span.start + 1))
        {
            if (m_patterns[colour].find(text, at, span) != Found::yes)
                break;
            const auto meets = [&](const Highlight& other)
            { return span.start < other.span.end && other.span.start < span.end; };
            if (span.start < span.end && std::none_of(places.begin(), places.end(), meets))
                places.push_back({span, colour});
        }
    }
    std::sort(places.begin(), places.end(),
              [](const Highlight& a, const Highlight& b) { return a.span.start < b.span.start; });
    return places;
}

std::optional<size_t> Highlights::colour_of(std::string_view text) const
{
    for (size_t colour = 0; colour < m_patterns.size(); ++colour)
        if (m_patterns[colour].in(text) == Found::yes)
            return colour;
    return std::nullopt;
}

} // namespace trace

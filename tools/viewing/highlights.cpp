#include "highlights.h"

#include <algorithm>

namespace trace
{

std::vector<Highlight> Highlights::in(std::string_view text) const
{
    std::vector<Highlight> places;
    HighlightWalk walk(m_patterns, text);
    for (size_t at = 0; at < text.size(); at = walk.end())
    {
        const std::optional<size_t> colour = walk.colour_at(at);
        if (!colour)
            continue;
        if (!places.empty() && places.back().span.end == at && places.back().colour == *colour)
            places.back().span.end = walk.end();
        else
            places.push_back({{at, walk.end()}, *colour});
    }
    return places;
}

std::optional<size_t> Highlights::colour_of(std::string_view text) const
{
    for (size_t colour = 0; colour < m_patterns.size(); ++colour)
        if (m_patterns[colour].in(text) == Found::yes)
            return colour;
    return std::nullopt;
}

HighlightWalk::HighlightWalk(const std::vector<Pattern>& patterns, std::string_view text)
    : m_text(text)
{
    for (const Pattern& pattern : patterns)
        m_layers.push_back({pattern});
}

std::optional<size_t> HighlightWalk::colour_at(size_t at)
{
    m_end = m_text.size();
    for (size_t colour = 0; colour < m_layers.size(); ++colour)
    {
        Layer& layer = m_layers[colour];
        move_to(layer, at);
        if (layer.span.start > at)
        {
            m_end = std::min(m_end, layer.span.start);
            continue;
        }
        m_end = std::min(m_end, layer.span.end);
        return colour;
    }
    return std::nullopt;
}

// Finds the first place that ends after `at`. An empty place ends the search for now if it is
// further on: there may be very many.
void HighlightWalk::move_to(Layer& layer, size_t at) const
{
    while (layer.span.end <= at)
    {
        if (layer.next > m_text.size() ||
            layer.pattern.find(m_text, layer.next, layer.span) != Found::yes)
        {
            layer.span = {m_text.size() + 1, m_text.size() + 1};
            return;
        }
        layer.next = std::max(layer.span.end, layer.next + 1);
    }
}

} // namespace trace

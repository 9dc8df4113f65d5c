// What is highlighted in a text: several patterns, each with a colour of its own.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "pattern.h"

namespace trace
{

struct Highlight
{
    Span span;
    size_t colour; // the number of the pattern, from 0
};

class Highlights
{
public:
    Highlights() = default;
    explicit Highlights(std::vector<Pattern> patterns) : m_patterns(std::move(patterns)) {}

    bool empty() const { return m_patterns.empty(); }
    const std::vector<Pattern>& patterns() const { return m_patterns; }

    // The places in their order, without overlap: where two patterns overlap, the first one counts.
    // Places of one colour that touch are one place.
    std::vector<Highlight> in(std::string_view text) const;

    // The colour of the whole text: that of the first pattern that is in it.
    std::optional<size_t> colour_of(std::string_view text) const;

private:
    std::vector<Pattern> m_patterns;
};

// Walks along a text from its start. It searches no further than where it is asked, because a text
// can be long and little of it visible.
class HighlightWalk
{
public:
    // The text outlives the walk.
    HighlightWalk(const std::vector<Pattern>& patterns, std::string_view text);

    // The number of the first pattern that covers this byte. Each byte is at or after the one of
    // the call before.
    std::optional<size_t> colour_at(size_t at);

    // Up to which byte the answer of the last call holds.
    size_t end() const { return m_end; }

private:
    struct Layer
    {
        Pattern pattern;
        Span span{};     // the last one that was found
        size_t next = 0; // where the search continues
    };

    void move_to(Layer& layer, size_t at) const;

    std::string_view m_text;
    std::vector<Layer> m_layers;
    size_t m_end = 0;
};

} // namespace trace

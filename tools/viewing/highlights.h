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

    // The places in their order, without overlap: where two patterns overlap, the first one counts.
    std::vector<Highlight> in(std::string_view text) const;

    // The colour of the whole text: that of the first pattern that is in it.
    std::optional<size_t> colour_of(std::string_view text) const;

private:
    std::vector<Pattern> m_patterns;
};

} // namespace trace

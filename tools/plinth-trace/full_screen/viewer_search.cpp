// Search while the user types.
#include <algorithm>
#include <cctype>

#include "full_screen/viewer.h"

namespace trace::full_screen
{

namespace
{

constexpr int control_r = 'R' & 0x1F;

// How long to wait for a hit that the list can move to at once.
constexpr std::chrono::milliseconds hit_wait{100};

// Case matters if the text has a capital letter.
Case letters_of(const std::string& text)
{
    const bool has_capital =
        std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    return has_capital ? Case::matters : Case::ignored;
}

} // namespace

std::string Viewer::search_label() const
{
    return m_is_search_expression ? "search expression: " : "search text: ";
}

void Viewer::ask_for_search()
{
    m_search_from = m_place.selected(m_view);
    m_place_before = m_place;
    const std::string before = m_search_text;
    m_prompt = Prompt{.label = search_label(),
                      .changed = [this](const std::string& text) { search_for(text); },
                      .accepted =
                          [this](const std::string& text)
                      {
                          // The return key alone searches for the same text again.
                          if (text.empty())
                              next_hit(true);
                      },
                      .cancelled =
                          [this, before]
                      {
                          search_for(before);
                          m_place = m_place_before;
                      },
                      .other_key =
                          [this](int key)
                      {
                          if (key != control_r)
                              return;
                          m_is_search_expression = !m_is_search_expression;
                          m_prompt->label = search_label();
                          search_for(m_prompt->editor.text());
                      }};
}

void Viewer::search_for(const std::string& text)
{
    try
    {
        std::optional<Pattern> pattern;
        if (!text.empty())
            pattern.emplace(m_is_search_expression ? text : literal(text), letters_of(text));
        m_search.set(std::move(pattern), m_search_from);
        m_search_text = text;
        m_place = m_place_before;
        m_search.advance_for(hit_wait);
        if (m_search_from && m_search.has(*m_search_from))
            return go_to(*m_search_from);
        if (const std::optional<uint64_t> hit = m_search.next(m_search_from))
            go_to(*hit);
    }
    catch (const BadPattern& problem)
    {
        say(problem.what(), true); // the last valid one stays in force
    }
}

void Viewer::next_hit(bool forward)
{
    if (!m_search.pattern())
        return go_to_bookmark(forward);
    const std::optional<uint64_t> from = m_place.selected(m_view);
    m_search.advance_for(hit_wait);
    const std::optional<uint64_t> hit = forward ? m_search.next(from) : m_search.previous(from);
    if (!hit)
        return say("\"" + m_search_text + "\" is not in what is shown");
    if (from && (forward ? *hit <= *from : *hit >= *from))
        say(forward ? "from the beginning again" : "from the end again");
    go_to(*hit);
}

// "12 of 345 hits", in how many records the search was given up, and its progress.
std::string Viewer::search_status() const
{
    if (!m_search.pattern())
        return {};
    const std::optional<uint64_t> selected = m_place.selected(m_view);
    const size_t index = selected ? m_search.index_of(*selected) : 0;
    std::string text = "; " + (index ? "hit " + std::to_string(index) + " of " : std::string()) +
                       std::to_string(m_search.count()) + " hits";
    if (const size_t unknown = m_search.unknown(); unknown > 0)
        text += ", given up in " + std::to_string(unknown) + " records";
    if (const double done = m_search.progress(); done < 1)
        text += ", searching " + std::to_string(static_cast<int>(done * 100)) + " %";
    return text;
}

} // namespace trace::full_screen

// The screen, part by part. All of it is drawn each time; the library sends only changes to the
// terminal.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "full_screen/curses.h"
#include "full_screen/line_painter.h"
#include "full_screen/viewer.h"
#include "full_screen/wrapped_lines.h"
#include "text.h"

namespace trace::full_screen
{

namespace
{

// The most important first: those that don't fit are left out.
const std::vector<std::string> hints = {"? help",    "q quit",    "/ search",
                                        "i include", "x exclude", "e from record",
                                        "v view",    "f follow",  "p pause"};

// With a comma between groups of three digits.
std::string grouped(uint64_t number)
{
    constexpr size_t group = 3;
    std::string text = std::to_string(number);
    for (size_t at = text.size(); at > group;)
        text.insert(at -= group, ",");
    return text;
}

int as_int(size_t number)
{
    return static_cast<int>(number);
}

} // namespace

void Viewer::draw()
{
    m_layout = layout_of(static_cast<size_t>(LINES), static_cast<size_t>(COLS), m_has_details);
    erase();
    if (m_help)
        draw_help(m_layout);
    else
    {
        draw_list(m_layout);
        if (m_layout.details > 0)
            draw_details(m_layout);
    }
    if (m_layout.has_status)
        draw_line(m_layout.status_at, m_help ? help_status() : status(), m_palette.status());
    curs_set(0);
    draw_bottom(m_layout); // drawn last: it may have the cursor
    refresh();
    m_changed = false;
    m_drawn = Clock::now();
}

void Viewer::draw_line(size_t line, std::string_view text, chtype style)
{
    LinePainter painter(m_characters, as_int(line), m_layout.columns, 0);
    painter.put(text, style);
    painter.finish(style);
}

// The last of the lines is in the line `last`. What doesn't fit is left out at the end.
void Viewer::draw_lines(size_t last, const std::vector<std::string>& lines, chtype style)
{
    const size_t count = std::min(last + 1, lines.size());
    for (size_t i = 0; i < count; ++i)
        draw_line(last + 1 - count + i, lines[i], style);
}

// A menu or a problem that is too wide covers lines above it. If there is no line for a message, it
// covers the status.
void Viewer::draw_bottom(const Layout& layout)
{
    if (m_prompt)
        draw_prompt(layout);
    else if (m_menu)
        draw_lines(layout.bottom_at, menu_lines(), A_BOLD);
    else if (!m_message.empty() && m_is_problem)
        draw_lines(layout.bottom_at, message_lines(), m_palette.problem());
    else if (!m_message.empty())
        draw_line(layout.bottom_at, printable_name(m_message), A_NORMAL);
    else if (layout.has_bottom)
        draw_line(layout.bottom_at, lines_of(m_characters, hints, "  ", layout.columns).front(),
                  A_DIM);
}

std::vector<std::string> Viewer::menu_lines()
{
    std::vector<std::string> pieces = {printable_name(m_menu->label)};
    for (const Menu::Choice& choice : m_menu->choices)
        pieces.push_back(printable_name(std::string(1, choice.key) + " " + choice.what));
    return lines_of(m_characters, pieces, "  ", m_layout.columns);
}

std::vector<std::string> Viewer::message_lines()
{
    return lines_of(m_characters, printable_name(m_message), m_layout.columns);
}

// The typed text scrolls so that the cursor is visible. A message is shown after the text. A long
// label, and a message that doesn't fit, are above the status line, if there is one.
void Viewer::draw_prompt(const Layout& layout)
{
    constexpr std::string_view gap = "   ";
    const std::string& text = m_prompt->editor.text();
    const bool has_room = layout.has_bottom && layout.status_at > 0;
    const size_t above = layout.status_at - (has_room ? 1 : 0);
    std::string label = m_prompt->label;
    size_t label_lines = 0;
    if (has_room && m_characters.columns_of(label) > layout.columns / 2)
    {
        const std::vector<std::string> lines = lines_of(m_characters, label, layout.columns);
        draw_lines(above, lines, A_BOLD);
        label_lines = lines.size();
        label.clear();
    }
    std::string message = m_message.empty() ? "" : std::string(gap) + printable_name(m_message);
    const chtype style = m_is_problem ? m_palette.problem() : A_NORMAL;
    if (has_room && label_lines <= above &&
        m_characters.columns_of(label + text + message) > layout.columns)
    {
        if (!message.empty())
            draw_lines(above - label_lines, message_lines(), style);
        message.clear();
    }
    const std::string before = label + text.substr(0, m_prompt->editor.at());
    const size_t cursor = m_characters.columns_of(before);
    const size_t skip = cursor < layout.columns ? 0 : cursor - layout.columns + 1;
    {
        LinePainter painter(m_characters, as_int(layout.bottom_at), layout.columns, skip);
        painter.put(label, A_BOLD);
        painter.put(text, A_NORMAL);
        painter.put(message, style);
    }
    move_cursor(layout.bottom_at, cursor - skip);
    curs_set(1);
}

void Viewer::move_cursor(size_t line, size_t column)
{
    ::move(as_int(line), as_int(column));
}

// What a key does is beside the key, or below it on a narrow screen.
std::vector<Viewer::HelpLine> Viewer::help_lines()
{
    constexpr size_t key_columns = 14;
    constexpr size_t least_beside = 40;
    constexpr size_t narrow_indent = 2;
    const bool is_beside = m_layout.columns >= least_beside;
    const size_t indent = is_beside ? key_columns : std::min(narrow_indent, m_layout.columns - 1);
    std::vector<HelpLine> lines;
    for (const Action& action : actions())
    {
        std::string key = action.shown;
        if (!is_beside)
            lines.push_back({std::exchange(key, {}), indent, {}});
        for (std::string& part : lines_of(m_characters, action.what, m_layout.columns - indent))
            lines.push_back({std::exchange(key, {}), indent, std::move(part)});
    }
    return lines;
}

void Viewer::draw_help(const Layout& layout)
{
    const std::vector<HelpLine> help = help_lines();
    const size_t lines = layout.has_status ? layout.status_at : layout.lines;
    *m_help = std::min(*m_help, help.size() - std::min(help.size(), lines));
    for (size_t line = 0; line < lines && *m_help + line < help.size(); ++line)
    {
        const HelpLine& shown = help[*m_help + line];
        LinePainter painter(m_characters, as_int(line), layout.columns, 0);
        painter.put(shown.key, A_BOLD);
        if (shown.what.empty())
            continue;
        painter.move_to(shown.indent, A_NORMAL);
        painter.put(shown.what, A_NORMAL);
    }
}

std::string Viewer::help_status() const
{
    return "q returns; Up, Down, PgUp, PgDn, Home scroll";
}

// The most important comes first: a narrow terminal cuts the end off.
std::string Viewer::status()
{
    std::string text = " ";
    if (m_view.is_paused())
        text += "paused, " + grouped(m_view.waiting()) + " wait; ";
    text += place_text() + losses_text();
    if (const double done = m_view.progress(); done < 1)
        text += "; filtering " + std::to_string(static_cast<int>(std::floor(done * 100))) + " %";
    text += search_status();
    if (!m_wanted.name.empty())
        text += "; view " + printable_name(m_wanted.name);
    if (m_feed.ended())
        return text + "; at the end";
    char rate[32];
    std::snprintf(rate, sizeof rate, "; %.0f/s", m_feed.records_per_second());
    return text + rate;
}

std::string Viewer::place_text() const
{
    const Place::Shown shown = m_place.shown(m_view, m_layout.rows);
    const std::string row = shown.count ? grouped(shown.selected + 1) : "0";
    return (m_place.follows() ? "follow, row " : "row ") + row + " of " + grouped(m_view.rows()) +
           "; all " + grouped(m_view.store().all());
}

std::string Viewer::losses_text() const
{
    const Store& store = m_view.store();
    std::string text;
    if (store.lost() > 0)
        text += "; lost " + grouped(store.lost());
    if (store.dropped() > 0)
        text += "; dropped " + grouped(store.dropped());
    if (m_missed > 0)
        text += "; dropped unseen during the pause " + grouped(m_missed);
    return text;
}

} // namespace trace::full_screen

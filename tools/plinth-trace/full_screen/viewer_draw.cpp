// The screen, part by part. All of it is drawn each time; the library sends only changes to the
// terminal.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "full_screen/curses.h"
#include "full_screen/line_painter.h"
#include "full_screen/viewer.h"
#include "text.h"

namespace trace::full_screen
{

namespace
{

const char* const hint = "? help  / search  i include  x exclude  e from record  v view  f follow  "
                         "p pause  q quit";

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

// If there is no line for a message, it covers the status.
void Viewer::draw_bottom(const Layout& layout)
{
    const chtype problem = m_is_problem ? m_palette.problem() : A_NORMAL;
    if (m_prompt)
        draw_prompt(layout);
    else if (m_menu)
        draw_line(layout.bottom_at, menu_text(), A_BOLD);
    else if (!m_message.empty())
        draw_line(layout.bottom_at, printable_name(m_message), problem);
    else if (layout.has_bottom)
        draw_line(layout.bottom_at, hint, A_DIM);
}

std::string Viewer::menu_text() const
{
    std::string text = m_menu->label;
    for (const Menu::Choice& choice : m_menu->choices)
        text += "  " + std::string(1, choice.key) + " " + choice.what;
    return printable_name(text);
}

// The typed text scrolls so that the cursor is visible. A problem is shown after the text.
void Viewer::draw_prompt(const Layout& layout)
{
    const std::string& text = m_prompt->editor.text();
    const std::string before = m_prompt->label + text.substr(0, m_prompt->editor.at());
    const size_t cursor = m_characters.columns_of(before);
    const size_t skip = cursor < layout.columns ? 0 : cursor - layout.columns + 1;
    {
        LinePainter painter(m_characters, as_int(layout.bottom_at), layout.columns, skip);
        painter.put(m_prompt->label, A_BOLD);
        painter.put(text, A_NORMAL);
        if (!m_message.empty())
            painter.put("   " + printable_name(m_message),
                        m_is_problem ? m_palette.problem() : A_NORMAL);
    }
    move_cursor(layout.bottom_at, cursor - skip);
    curs_set(1);
}

void Viewer::move_cursor(size_t line, size_t column)
{
    ::move(as_int(line), as_int(column));
}

void Viewer::draw_help(const Layout& layout)
{
    constexpr size_t key_columns = 14;
    const std::vector<Action>& table = actions();
    const size_t lines = layout.has_status ? layout.status_at : layout.lines;
    *m_help = std::min(*m_help, table.size() - std::min(table.size(), lines));
    for (size_t line = 0; line < lines && *m_help + line < table.size(); ++line)
    {
        const Action& action = table[*m_help + line];
        LinePainter painter(m_characters, as_int(line), layout.columns, 0);
        painter.put(action.shown, A_BOLD);
        painter.move_to(key_columns, A_NORMAL);
        painter.put(action.what, A_NORMAL);
    }
}

std::string Viewer::help_status() const
{
    return "keys; Up, Down, PgUp, PgDn scroll, any other key returns to the records";
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

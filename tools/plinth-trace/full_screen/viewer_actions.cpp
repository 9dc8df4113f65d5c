// What keys do to the list and to the records.
#include <algorithm>
#include <iterator>

#include "failure.h"
#include "full_screen/viewer.h"
#include "interruption.h"
#include "output_file.h"
#include "text.h"
#include "time_option.h"

namespace trace::full_screen
{

void Viewer::say(const std::string& text, bool is_problem)
{
    m_message = text;
    m_is_problem = is_problem;
    m_changed = true;
}

void Viewer::toggle_mouse()
{
    m_terminal.set_mouse(!m_terminal.has_mouse());
    say(m_terminal.has_mouse() ? "the wheel scrolls, a click selects a record"
                               : "the mouse is the terminal's own");
}

void Viewer::toggle_follow()
{
    m_place.set_follows(m_view, m_layout.rows, !m_place.follows());
}

void Viewer::toggle_pause()
{
    if (m_view.is_paused())
        m_view.resume();
    else
        m_view.pause();
}

void Viewer::clear()
{
    m_feed.store().clear();
    m_view.cleared();
    m_bookmarks.trim(m_feed.store().first());
    m_delta_from.reset();
}

void Viewer::go_to(uint64_t number)
{
    m_place.go_to(m_view, m_layout.rows, number);
}

void Viewer::toggle_bookmark()
{
    const std::optional<uint64_t> number = m_place.selected(m_view);
    if (!number)
        return say("there is no record to bookmark");
    m_bookmarks.toggle(*number);
    say(std::string(m_bookmarks.has(*number) ? "bookmarked" : "no bookmark any more") +
        ": record " + std::to_string(*number + 1));
}

void Viewer::go_to_bookmark(bool next)
{
    const std::optional<uint64_t> from = m_place.selected(m_view);
    const std::optional<uint64_t> number =
        next ? m_bookmarks.next(m_view, from) : m_bookmarks.previous(m_view, from);
    if (!number)
        return say("there is no bookmark in what is shown");
    go_to(*number);
    say("bookmark: record " + std::to_string(*number + 1));
}

void Viewer::ask_for_time()
{
    m_prompt = Prompt{.label = "go to time: ",
                      .accepted = [this](const std::string& text) { jump_to_time(text); }};
}

// A time without a date is on the day of the selected record; "10m" means ten minutes before that
// record.
void Viewer::jump_to_time(const std::string& text)
{
    if (text.empty())
        return;
    const std::optional<uint64_t> from = m_place.selected(m_view);
    const Time base = from ? m_feed.store()[*from].time : current_time();
    const std::optional<Time> time = time_from(text, base == unknown_time ? current_time() : base);
    if (!time)
        return say("\"" + text + "\" is no time; as 14:07, \"2024-03-05 14:07:33\" or 10m", true);
    if (!from)
        return say("there is no record");
    const Store& store = m_feed.store();
    const uint64_t number = store.number_at(*time);
    go_to(number < store.end() ? number : store.end() - 1);
    if (number == store.end())
        say("the newest record is older than that");
}

// Also shows or hides the column.
void Viewer::toggle_delta()
{
    if (m_delta_from)
        m_delta_from.reset();
    else
        m_delta_from = m_place.selected(m_view);
    const std::vector<Column> columns = columns_of(m_wanted);
    const bool is_shown = std::find(columns.begin(), columns.end(), Column::delta) != columns.end();
    if (is_shown != m_delta_from.has_value())
        toggle_column(m_wanted, Column::delta);
}

// Time of day, date and time, since the first record, since the row before, none; then again from
// the start.
void Viewer::show_raw(bool raw)
{
    m_is_raw = raw;
    m_search.set_form(raw ? TextForm::raw : TextForm::plain);
}

void Viewer::next_time_mode()
{
    constexpr struct
    {
        TimeMode mode;
        bool has_date;
    } modes[] = {{TimeMode::absolute, false},
                 {TimeMode::absolute, true},
                 {TimeMode::start, false},
                 {TimeMode::previous, false},
                 {TimeMode::none, false}};
    size_t now = 0;
    while (now + 1 < std::size(modes) &&
           (modes[now].mode != m_time || modes[now].has_date != m_has_date))
        ++now;
    const auto& next = modes[(now + 1) % std::size(modes)];
    m_time = next.mode;
    m_has_date = next.has_date;
}

void Viewer::save(bool all)
{
    // Also saves what a changed filter hasn't reached yet; it is shown in a moment.
    while (!all && m_view.advance_for(std::chrono::seconds(1)) && !interrupted())
    {
    }
    try
    {
        const std::string name = free_name(all ? "all" : "shown");
        const uint64_t count = all ? save_all(name, m_feed.store())
                                   : save_shown(name, m_feed.store(), m_view, {.time = m_time});
        say("saved " + std::to_string(count) +
            (all ? " records, all that are kept," : " shown records") + " to " + name);
    }
    catch (const Failure& failure)
    {
        say(std::string("not saved: ") + failure.what(), true);
    }
}

} // namespace trace::full_screen

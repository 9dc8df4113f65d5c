// What the keys of plinth-trace watch do.
#include "failure.h"
#include "terminal.h"
#include "text.h"
#include "watch.h"

namespace trace
{

namespace
{

const char* const keys_help = "-- p  pause, and continue\n"
                              "-- c  clear\n"
                              "-- b  bookmark the last record shown, or remove its bookmark\n"
                              "-- n  show the next bookmark; N  the previous one\n"
                              "-- s  save shown: what the filters let through, as it is shown\n"
                              "-- S  save all: every record that is kept\n"
                              "-- q  quit\n";

} // namespace

void Watch::handle_keys()
{
    if (!m_keyboard)
        return;
    while (const std::optional<char> key = m_keyboard->key())
        handle(*key);
}

void Watch::handle(char key)
{
    switch (key)
    {
    case 'p':
        toggle_pause();
        break;
    case 'c':
        clear();
        break;
    case 'b':
        toggle_bookmark();
        break;
    case 'n':
        go_to(m_bookmarks.next(m_view, m_at));
        break;
    case 'N':
        go_to(m_bookmarks.previous(m_view, m_at));
        break;
    case 's':
        save(false);
        break;
    case 'S':
        save(true);
        break;
    case '?':
    case 'h':
        m_screen.put(keys_help);
        break;
    case 'q':
        m_quit = true;
        break;
    default:
        break;
    }
}

void Watch::say(const std::string& text)
{
    m_screen.put("-- " + printable_name(text) + " --\n");
}

void Watch::toggle_pause()
{
    if (m_view.is_paused())
        m_view.resume();
    else
        m_view.pause();
    m_screen.set_status("");
}

void Watch::clear()
{
    m_store.clear();
    m_view.cleared();
    m_bookmarks.trim(m_store.first());
    m_next_row = 0;
    m_last.reset();
    m_at.reset();
    m_last_time = unknown_time;
    m_screen.clear();
}

void Watch::toggle_bookmark()
{
    if (!m_last || *m_last < m_store.first())
    {
        say("there is no record to bookmark");
        return;
    }
    m_bookmarks.toggle(*m_last);
    say(std::string(m_bookmarks.has(*m_last) ? "bookmarked" : "no bookmark any more") +
        ": record " + std::to_string(*m_last + 1));
}

void Watch::go_to(std::optional<uint64_t> number)
{
    if (!number)
    {
        say("there is no bookmark");
        return;
    }
    m_at = number;
    const TimeBase base{.start = m_store.start()};
    std::string lines = "-- bookmark: record " + std::to_string(*number + 1) + " --\n";
    append_lines(lines, m_store[*number], m_style, base);
    m_screen.put(lines);
}

void Watch::save(bool all)
{
    try
    {
        const std::string name = free_name(all ? "all" : "shown");
        const uint64_t count =
            all ? save_all(name, m_store) : save_shown(name, m_store, m_view, m_style);
        say("saved " + std::to_string(count) +
            (all ? " records, all that are kept," : " shown records") + " to " + name);
    }
    catch (const Failure& failure)
    {
        say(std::string("not saved: ") + failure.what());
    }
}

} // namespace trace

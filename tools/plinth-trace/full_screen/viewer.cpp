#include "full_screen/viewer.h"

#include <poll.h>
#include <unistd.h>

#include "full_screen/curses.h"
#include "interruption.h"

namespace trace::full_screen
{

namespace
{

// A key waits for at most the sum of these.
constexpr std::chrono::milliseconds record_wait{20};
constexpr std::chrono::milliseconds records_at_a_time{25};
constexpr std::chrono::milliseconds examined_at_a_time{15};

constexpr std::chrono::milliseconds draw_interval{40}; // while only records come
constexpr std::chrono::seconds status_interval{1};

// A program in the background must not wait for keys: they belong to another program.
void wait_for_key(std::chrono::milliseconds longest, bool is_ours)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    poll(&input, is_ours ? 1 : 0, static_cast<int>(longest.count()));
}

} // namespace

Viewer::Viewer(const ViewOptions& options, std::unique_ptr<Source> source, const std::string& views)
    : m_feed(options, std::move(source)), m_view(m_feed.store(), options.filter),
      m_wanted(wanted_by(options)), m_first_wanted(m_wanted), m_highlights(options.highlights),
      m_search(m_view), m_time(options.time.value_or(TimeMode::absolute)),
      m_has_date(options.time == TimeMode::absolute), m_characters(m_terminal.is_utf8()),
      m_table(m_characters, m_palette)
{
    const std::string problem = m_views.open(views);
    say(problem.empty() ? "watching " + m_feed.source().what() : problem, !problem.empty());
}

void Viewer::run()
{
    while (!m_quit && !interrupted() && !TerminalSession::is_gone())
    {
        const bool is_ours = m_terminal.is_ours();
        take_records(is_ours);
        examine();
        take_news();
        if (!is_ours)
            continue;
        take_keys();
        const Clock::time_point now = Clock::now();
        if (m_terminal.take_redraw() || (m_changed && now - m_drawn >= draw_interval) ||
            now - m_drawn >= status_interval)
            draw();
    }
    m_feed.finish();
}

// Whether there is work besides waiting for records.
bool Viewer::is_at_work() const
{
    return m_view.progress() < 1 || m_search.progress() < 1;
}

void Viewer::take_records(bool is_ours)
{
    const std::chrono::milliseconds wait =
        is_at_work() ? std::chrono::milliseconds(0) : record_wait;
    if (m_feed.ended())
        wait_for_key(wait, is_ours);
    if (!m_feed.collect(m_feed.ended() ? std::chrono::milliseconds(0) : wait, records_at_a_time))
        return;
    m_bookmarks.trim(m_feed.store().first());
    m_changed = true;
}

void Viewer::examine()
{
    m_changed = m_changed || is_at_work();
    m_view.trim();
    m_view.advance_for(examined_at_a_time);
    m_search.advance_for(examined_at_a_time);
    m_missed += m_view.take_missed();
}

void Viewer::take_news()
{
    if (const std::string news = m_feed.source().take_news(); !news.empty())
        say(news);
    if (const std::string text = m_view.filter().given_up();
        !text.empty() && m_patterns_reported.empty())
    {
        say(text, true);
        m_patterns_reported = text;
    }
}

} // namespace trace::full_screen

// plinth-trace watch: its options and its main loop.
#include "watch.h"

#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "failure.h"
#include "full_screen.h"
#include "terminal.h"

namespace trace
{

static const std::string watch_help_text =
    std::string(
        "usage: plinth-trace watch [OPTION...]\n"
        "\n"
        "Shows the trace records of all programs of this user as they are made, each after the id\n"
        "and the name of its process. Ctrl-C ends. Any number of viewers can watch at once. If\n"
        "another program has the debug string channel, watch reports it and waits until the "
        "channel\n"
        "is free. Where records were lost, a line of its own has their number.\n"
        "\n") +
    view_options_help + log_bounds_help + views_help +
    "  --plain            on a terminal print line after line, without the full screen\n"
    "  --json             one JSON object a line: time (UTC), pid, process, window, text, each\n"
    "                     null if there is none; for lost records: time, lost, text; if their\n"
    "                     number is unknown, uncounted, and since when, if that is known\n"
    "  --rate             print each second the records per second and the counts: on a\n"
    "                     terminal in its last line, else on standard error\n"
    "  --count N          end after N records have been shown\n"
    "  --timeout S        end after S seconds; with --count, exit code 4 if the time, or the\n"
    "                     input, ends before; exit code 3 if another program has the channel\n"
    "                     then\n"
    "\n"
    "Regular expressions are those of PCRE2 (ECMAScript in the Windows build). A search that\n"
    "takes too long is given up, and its record is shown.\n"
    "\n"
    "On a terminal it uses the whole screen, except with --count or --timeout; ? shows the keys.\n"
    "Keys with --plain: p pause, c clear, b bookmark, n and N next and previous bookmark, s save\n"
    "shown, S save all, ? help, q quit.\n";
const char* const watch_help = watch_help_text.c_str();

namespace
{

constexpr size_t small_store = 8 << 20; // bytes, if the user can't look back

constexpr std::chrono::milliseconds slice{100}; // Ctrl-C is noticed in between
constexpr std::chrono::milliseconds key_slice{30};
constexpr std::chrono::seconds report_interval{1};

constexpr size_t most_collected = 2000; // records before they are shown
// Bytes that are written at once. A larger text would take pages of the system and give them back
// each time.
constexpr size_t put_size = 16 << 10;

bool reads_standard_input(const ViewOptions& view)
{
    return !view.inputs.empty() && view.inputs.front() == "-";
}

WatchOptions read_options(Options& options)
{
    WatchOptions wanted;
    wanted.view = take_view_options(options);
    wanted.count = options.take_number("--count", 1, INT64_MAX);
    if (const auto seconds = options.take_seconds("--timeout"))
        wanted.end =
            WatchOptions::Clock::now() + std::chrono::duration_cast<WatchOptions::Clock::duration>(
                                             std::chrono::duration<double>(*seconds));
    wanted.views = take_views_name(options);
    wanted.json = options.take_flag("--json");
    wanted.rate = options.take_flag("--rate");
    wanted.plain = options.take_flag("--plain");
    options.finish();
    return wanted;
}

} // namespace

Watch::Watch(WatchOptions options)
    : m_options(std::move(options)),
      m_interactive(!m_options.json && !reads_standard_input(m_options.view) &&
                    Keyboard::is_there()),
      m_source(make_source(m_options.view)), m_screen(m_interactive),
      m_store(store_limit(
          m_options.view.keep.value_or(m_interactive ? Store::default_limit : small_store))),
      m_portion(m_options.view.keep.value_or(small_store) / 2),
      m_view(m_store, m_options.view.filter), m_style{.time = m_options.view.time.value_or(
                                                          TimeMode::none),
                                                      .colour = in_colour(),
                                                      .highlights = m_options.view.highlights},
      m_file_style{.time = m_style.time}
{
    if (m_options.view.output)
        m_output.emplace(*m_options.view.output, OutputFile::Takes::pipes_too);
    note("watching " + m_source->what() + "; Ctrl-C ends" +
         (m_interactive ? ", ? shows keys" : ""));
    if (m_interactive)
        m_keyboard.emplace();
}

int Watch::run()
{
    while (!m_quit && !interrupted() && !m_source->ended() &&
           !(m_options.end && Clock::now() >= *m_options.end))
    {
        collect(wait_time());
        if (show())
            return exit_done;
        handle_keys();
        report_news();
        report();
    }
    const bool is_shut_out = !m_source->shut_out_by().empty();
    m_source->stop();
    while (!m_quit && collect(0))
        if (show())
            return exit_done;
    report_patterns(true);
    if (m_options.rate && !m_interactive)
        note(counts());
    if (interrupted() || m_quit)
        return exit_done;
    if (is_shut_out)
        return exit_channel_taken;
    return m_options.count ? exit_timeout : exit_done;
}

// Takes the records that are ready, within limits; false if there were none. A portion fits into
// the store besides what was shown before, so that no record is removed before it is shown unless
// there is a pause.
bool Watch::collect(unsigned milliseconds)
{
    RecordView record;
    uint64_t collected = 0;
    uint64_t bytes = 0;
    while (collected < most_collected && next(record, collected == 0 ? milliseconds : 0))
    {
        const size_t size = RecordBlock::most_bytes(record);
        if (collected > 0 && bytes + size > m_portion)
        {
            m_waiting = record; // valid until the source is asked again
            break;
        }
        ++collected;
        bytes += size;
        m_store.append(record);
    }
    m_rate.add(collected, Clock::now());
    m_bookmarks.trim(m_store.first());
    const size_t stale = m_view.stale();
    m_view.trim();
    m_next_row -= std::min(m_next_row, stale);
    return collected > 0;
}

bool Watch::next(RecordView& record, unsigned milliseconds)
{
    if (!m_waiting)
        return m_source->next_view(record, milliseconds);
    record = *m_waiting;
    m_waiting.reset();
    return true;
}

// Shows the new rows; true when the count is reached.
bool Watch::show()
{
    m_view.advance(SIZE_MAX);
    std::string out;
    std::string file;
    if (const uint64_t missed = m_view.take_missed())
    {
        // Only a terminal has a pause, and a terminal never gets JSON.
        m_missed += missed;
        const Record news = loss_of(missed, std::to_string(missed) +
                                                " records dropped before they were shown: more "
                                                "came during the pause than --keep has room for");
        append_lines(out, news, m_style, {});
        if (m_output)
            append_lines(file, news, m_file_style, {});
    }
    bool done = false;
    while (!done && m_next_row < m_view.rows())
    {
        done = show_row(m_next_row++, out, file);
        if (out.size() >= put_size)
            put_out(out, file);
    }
    put_out(out, file);
    return done;
}

// What was prepared for the screen and for the file.
void Watch::put_out(std::string& out, std::string& file)
{
    if (!out.empty())
        m_screen.put(out);
    if (m_output && !file.empty())
        m_output->write(file);
    out.clear();
    file.clear();
}

bool Watch::show_row(size_t row, std::string& out, std::string& file)
{
    const RecordView record = m_view.record(row);
    const TimeBase base{.start = m_store.start(), .previous = m_last_time};
    append(out, record, m_style, base);
    if (m_output)
        append(file, record, m_file_style, base);
    m_last_time = record.time;
    if (record.is_loss())
        return false;
    m_last = m_view.number(row);
    return ++m_shown == m_options.count;
}

void Watch::append(std::string& out, const RecordView& record, const LineStyle& style,
                   const TimeBase& base) const
{
    if (m_options.json)
        out += as_json(record);
    else
        append_lines(out, record, style, base);
}

unsigned Watch::wait_time() const
{
    const std::chrono::milliseconds longest = m_interactive ? key_slice : slice;
    if (!m_options.end)
        return static_cast<unsigned>(longest.count());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_options.end - Clock::now());
    return static_cast<unsigned>(std::clamp(left, std::chrono::milliseconds(0), longest).count());
}

std::string Watch::counts() const
{
    const std::string text = "shown " + std::to_string(m_shown) + ", all " +
                             std::to_string(m_store.all()) + ", lost " +
                             std::to_string(m_store.lost());
    const std::optional<uint64_t> taken = m_source->taken();
    // Without a terminal the user can't ask again for what was shown.
    return text + ", dropped " + std::to_string(m_interactive ? m_store.dropped() : m_missed) +
           (taken ? ", taken " + std::to_string(*taken) : "");
}

void Watch::report_news()
{
    const std::string news = m_source->take_news();
    if (news.empty())
        return;
    if (m_interactive)
        say(news);
    else
        note(news);
}

// Updates the status once a second; a pause is shown at once.
void Watch::report()
{
    const Clock::time_point now = Clock::now();
    const bool due = now - m_reported >= report_interval;
    if (m_interactive)
    {
        std::string status;
        if (m_view.is_paused())
            status = "paused, " + std::to_string(m_view.waiting()) + " wait; ";
        if (m_options.rate)
        {
            char rate[48];
            std::snprintf(rate, sizeof rate, "%.0f records/s; ", m_rate.per_second(now));
            status += rate;
        }
        if (!status.empty())
            status += counts();
        if (due || status.empty() || m_screen.status().empty())
            m_screen.set_status(status);
    }
    else if (m_options.rate && due)
    {
        char rate[48];
        std::snprintf(rate, sizeof rate, "%.0f records/s; ", m_rate.per_second(now));
        note(rate + counts());
    }
    if (due)
    {
        m_reported = now;
        report_patterns(false);
    }
}

void Watch::report_patterns(bool at_end)
{
    std::string text = m_options.view.filter.given_up();
    // Reported once while the program runs; at the end, with the last numbers.
    if (text.empty() || (at_end ? text == m_patterns_reported : !m_patterns_reported.empty()))
        return;
    if (m_interactive)
        say(text);
    else
        note(text);
    m_patterns_reported = std::move(text);
}

int watch(Options& options)
{
    WatchOptions wanted = read_options(options);
    // A program that ends by itself would remove its screen with the records on it.
    const bool stays = !wanted.json && !wanted.count && !wanted.end;
    if (stays && !wanted.plain && !reads_standard_input(wanted.view) && can_have_full_screen())
        return run_full_screen(wanted.view, make_source(wanted.view), wanted.views);
    if (wanted.end)
        end_waits_at(*wanted.end);
    const ExitCode at_end = wanted.count ? exit_timeout : exit_done;
    try
    {
        return Watch(std::move(wanted)).run();
    }
    catch (const TimeOver&)
    {
        return at_end;
    }
}

} // namespace trace

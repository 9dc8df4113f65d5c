// plinth-trace watch at work: shows records from the source on the screen, and writes them to a
// file.
//
// Each record is put into the store; the view selects those that are wanted, and they are shown. On
// a terminal the user controls it by keys (watch_keys.cpp). Elsewhere the store is small: the user
// can't ask again for what has been shown.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "bookmarks.h"
#include "keyboard.h"
#include "output_file.h"
#include "rate_meter.h"
#include "screen.h"
#include "store.h"
#include "view.h"
#include "view_options.h"

namespace trace
{

struct WatchOptions
{
    using Clock = std::chrono::steady_clock;

    ViewOptions view{};
    bool json = false;
    bool rate = false;
    bool plain = false;
    std::string views{};
    std::optional<int64_t> count{};
    std::optional<Clock::time_point> end{};
};

class Watch
{
public:
    explicit Watch(WatchOptions options);

    // Runs until the source ends, or the user or an option ends it; returns the exit code.
    int run();

private:
    using Clock = WatchOptions::Clock;

    bool collect(unsigned milliseconds);
    bool next(RecordView& record, unsigned milliseconds);
    bool show();
    bool show_row(size_t row, std::string& out, std::string& file);
    void put_out(std::string& out, std::string& file);
    void append(std::string& out, const RecordView& record, const LineStyle& style,
                const TimeBase& base) const;
    unsigned wait_time() const;
    std::string counts() const;
    void report();
    void report_news();
    void report_patterns(bool at_end);

    void handle_keys();
    void handle(char key);
    void say(const std::string& text);
    void toggle_pause();
    void clear();
    void toggle_bookmark();
    void go_to(std::optional<uint64_t> number);
    void save(bool all);

    WatchOptions m_options;
    const bool m_interactive;
    std::optional<OutputFile> m_output;
    std::unique_ptr<Source> m_source;
    Screen m_screen;
    Store m_store;
    const size_t m_portion;              // bytes that are collected before they are shown
    std::optional<RecordView> m_waiting; // the record that the last portion had no room for
    View m_view;
    Bookmarks m_bookmarks;
    RateMeter m_rate{Clock::now()};
    LineStyle m_style;
    const LineStyle m_file_style; // the same without colours

    size_t m_next_row = 0;          // first row of the view that wasn't shown yet
    int64_t m_shown = 0;            // records, not counting losses
    uint64_t m_missed = 0;          // removed before they were shown
    std::optional<uint64_t> m_last; // number of the record that was shown last
    std::optional<uint64_t> m_at;   // the bookmark that the user moved to last
    Time m_last_time = unknown_time;
    Clock::time_point m_reported = Clock::now();
    std::string m_patterns_reported;
    bool m_quit = false;
    std::optional<Keyboard> m_keyboard; // made last, after what can fail without it
};

} // namespace trace

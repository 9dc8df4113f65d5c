// The full screen of plinth-trace watch and log: a list of records that can be scrolled, searched
// and filtered while records come.
//
// One loop on one thread: records are taken for some milliseconds, the view and the search continue
// for some more, then keys are handled and the screen is drawn. Longer work, such as a filter over
// a million records or a search, is done in such steps. The listener has a thread and a queue of
// its own, so that nothing here delays a program that traces.
//
// viewer.cpp has the loop, viewer_draw.cpp the screen, viewer_keys.cpp the keys, and the other
// files what the keys do.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bookmarks.h"
#include "full_screen/characters.h"
#include "full_screen/feed.h"
#include "full_screen/layout.h"
#include "full_screen/palette.h"
#include "full_screen/place.h"
#include "full_screen/prompt.h"
#include "full_screen/row_table.h"
#include "full_screen/terminal_session.h"
#include "full_screen/views.h"
#include "full_screen/wanted.h"
#include "search.h"
#include "view.h"

namespace trace::full_screen
{

class Viewer
{
public:
    // views: the name of the settings, or a path.
    Viewer(const ViewOptions& options, std::unique_ptr<Source> source, const std::string& views);

    // Runs until the user or a signal ends it.
    void run();

private:
    using Clock = std::chrono::steady_clock;

    // What a key does. Keys are numbers of the library, or characters; unused entries are 0.
    struct Action
    {
        std::array<int, 3> keys;
        const char* shown; // for people
        const char* what;
        void (*run)(Viewer& viewer);
    };

    struct HelpLine
    {
        std::string key; // empty in the second line of an action and in further ones
        size_t indent;   // columns before the text
        std::string what;
    };

    // viewer.cpp
    void take_records(bool is_ours);
    void examine();
    void take_news();
    bool is_at_work() const;

    // viewer_draw.cpp
    void draw();
    void draw_line(size_t line, std::string_view text, chtype style);
    void draw_bottom(const Layout& layout);
    void draw_prompt(const Layout& layout);
    void draw_help(const Layout& layout);
    void move_cursor(size_t line, size_t column);
    void draw_lines(size_t last, const std::vector<std::string>& lines, chtype style);
    std::vector<std::string> menu_lines();
    std::vector<std::string> message_lines();
    std::vector<HelpLine> help_lines();
    std::string help_status() const;
    std::string status();
    std::string place_text() const;
    std::string losses_text() const;

    // viewer_list.cpp and viewer_details.cpp
    void draw_list(const Layout& layout);
    void draw_bar(const Layout& layout, const Place::Shown& shown);
    void draw_details(const Layout& layout);
    std::vector<std::string> headings() const;
    Marking marking() const;
    void fill(TableRow& row, size_t number_of_row);
    void add_text(TableRow& row) const;
    std::string fact(Column column, uint64_t number, const RecordView& record,
                     const ColumnStyle& style) const;
    ColumnStyle column_style(size_t row) const;

    // viewer_keys.cpp
    void take_keys();
    void handle(const Key& key);
    void handle_mouse(const Key& key);
    void handle_prompt(const Key& key);
    void handle_menu(int key);
    void handle_help(int key);
    void scroll_help(ptrdiff_t lines);
    static const std::vector<Action>& actions();
    void move(ptrdiff_t rows);
    void scroll(ptrdiff_t rows);
    void scroll_sideways(ptrdiff_t columns);
    void home();
    void end();
    ptrdiff_t page() const { return static_cast<ptrdiff_t>(m_layout.rows); }
    void toggle_mouse();

    // viewer_actions.cpp
    void say(const std::string& text, bool is_problem = false);
    void toggle_follow();
    void toggle_pause();
    void clear();
    void toggle_bookmark();
    void go_to_bookmark(bool next);
    void jump_to_time(const std::string& text);
    void ask_for_time();
    void toggle_delta();
    void next_time_mode();
    void show_raw(bool raw);
    void save(bool all);
    void go_to(uint64_t number);

    // viewer_filters.cpp
    using PutText = void (*)(ViewSettings& wanted, const std::string& text);
    void use(ViewSettings wanted);
    bool try_to_use(ViewSettings wanted);
    void ask_for(const std::string& label, const std::string& text, PutText put);
    void ask_for_include();
    void ask_for_exclude();
    void ask_for_windows();
    void ask_for_processes();
    void ask_for_highlights();
    void choose_from_record();
    void choose_columns();

    // viewer_views.cpp
    void ask_for_view();
    void ask_for_name();
    void ask_for_set();
    void open_set(const std::string& name);
    void load_view(const std::string& name);
    void show_view(const ViewSettings& view);
    void save_view(const std::string& name);
    void next_view(bool forward);
    void numbered_view(size_t number);

    // viewer_search.cpp
    std::string search_label() const;
    std::string search_status() const;
    void ask_for_search();
    void search_for(const std::string& text);
    void next_hit(bool forward);

    Feed m_feed;
    View m_view;
    ViewSettings m_wanted;
    const ViewSettings m_first_wanted; // from the command line
    Highlights m_highlights;
    Views m_views;
    Bookmarks m_bookmarks;
    Place m_place;
    Search m_search;
    std::string m_search_text;
    std::optional<uint64_t> m_search_from; // the record that was selected when the search began
    Place m_place_before;                  // the place when the search began
    bool m_is_search_expression = false;

    TimeMode m_time;
    bool m_has_date;
    bool m_is_raw = false;
    std::optional<uint64_t> m_delta_from; // number of a record
    size_t m_skip = 0;                    // hidden columns on the left
    bool m_has_details = false;
    std::optional<size_t> m_help; // the first help line that is shown
    std::optional<Prompt> m_prompt;
    std::optional<Menu> m_menu;
    std::string m_message;
    bool m_is_problem = false;
    uint64_t m_missed = 0; // records that were removed before they were shown
    std::string m_patterns_reported;

    bool m_quit = false;
    bool m_changed = true; // since the screen was drawn last
    Clock::time_point m_drawn{};
    Layout m_layout;
    TerminalSession m_terminal; // made after what can fail without it
    Characters m_characters;
    Palette m_palette;
    RowTable m_table;
};

} // namespace trace::full_screen

// What keys and the mouse do; the help page is made from the same table.
#include <algorithm>

#include "full_screen/curses.h"
#include "full_screen/viewer.h"

namespace trace::full_screen
{

namespace
{

constexpr ptrdiff_t wheel_rows = 3;
constexpr ptrdiff_t sideways = 8; // columns
constexpr int first_beyond_ascii = 0x80;

// The key's number; 0 for characters that have no meaning here.
int number_of(const Key& key)
{
    if (key.text.empty())
        return key.code;
    const int first = static_cast<unsigned char>(key.text.front());
    return first < first_beyond_ascii ? first : 0;
}

constexpr int control(char letter)
{
    return letter & 0x1F;
}

} // namespace

const std::vector<Viewer::Action>& Viewer::actions()
{
    static const std::vector<Action> table = {
        {{KEY_UP, 'k'}, "Up, k", "the record above", [](Viewer& v) { v.move(-1); }},
        {{KEY_DOWN, 'j'}, "Down, j", "the record below", [](Viewer& v) { v.move(1); }},
        {{KEY_PPAGE, control('B')}, "PgUp", "a page up", [](Viewer& v) { v.scroll(-v.page()); }},
        {{KEY_NPAGE, control('F'), ' '},
         "PgDn, Space",
         "a page down",
         [](Viewer& v) { v.scroll(v.page()); }},
        {{KEY_HOME, 'g'}, "Home, g", "the oldest record", [](Viewer& v) { v.home(); }},
        {{KEY_END, 'G'}, "End, G", "the newest record, and follow", [](Viewer& v) { v.end(); }},
        {{KEY_LEFT, '<'},
         "Left, <",
         "scroll to the left",
         [](Viewer& v) { v.scroll_sideways(-sideways); }},
        {{KEY_RIGHT, '>'},
         "Right, >",
         "scroll to the right",
         [](Viewer& v) { v.scroll_sideways(sideways); }},
        {{'\r', '\n', KEY_ENTER},
         "Return",
         "the whole record below the list, or not",
         [](Viewer& v) { v.m_has_details = !v.m_has_details; }},
        {{'f'},
         "f",
         "follow: stay at the newest record, or not",
         [](Viewer& v) { v.toggle_follow(); }},
        {{'p'},
         "p",
         "pause: records are still collected, but not shown",
         [](Viewer& v) { v.toggle_pause(); }},
        {{'c'}, "c", "clear: remove all records", [](Viewer& v) { v.clear(); }},

        {{'/'},
         "/",
         "search as you type (Ctrl-R: text or expression)",
         [](Viewer& v) { v.ask_for_search(); }},
        {{'n'},
         "n",
         "the next hit; without a search the next bookmark",
         [](Viewer& v) { v.next_hit(true); }},
        {{'N'}, "N", "the previous hit, or bookmark", [](Viewer& v) { v.next_hit(false); }},
        {{'b'},
         "b",
         "bookmark the record, or remove its bookmark",
         [](Viewer& v) { v.toggle_bookmark(); }},
        {{']'}, "]", "the next bookmark", [](Viewer& v) { v.go_to_bookmark(true); }},
        {{'['}, "[", "the previous bookmark", [](Viewer& v) { v.go_to_bookmark(false); }},
        {{'t'},
         "t",
         "go to a time: 14:07, 2024-03-05 14:07, 10m before the record",
         [](Viewer& v) { v.ask_for_time(); }},
        {{'d'},
         "d",
         "a column with the seconds since this record, or none",
         [](Viewer& v) { v.toggle_delta(); }},
        {{'T'},
         "T",
         "times: of day, with date, since the first, since the row before, none",
         [](Viewer& v) { v.next_time_mode(); }},

        {{'i'},
         "i",
         "include: only records with one of these expressions (a;;b)",
         [](Viewer& v) { v.ask_for_include(); }},
        {{'x'},
         "x",
         "exclude: no records with one of these expressions",
         [](Viewer& v) { v.ask_for_exclude(); }},
        {{'w'}, "w", "only these window ids (1;;7)", [](Viewer& v) { v.ask_for_windows(); }},
        {{'o'},
         "o",
         "only these processes, by id or name; -name: not this one",
         [](Viewer& v) { v.ask_for_processes(); }},
        {{'m'},
         "m",
         "mark what these expressions find, each in its colour",
         [](Viewer& v) { v.ask_for_highlights(); }},
        {{'e'},
         "e",
         "a filter from this record: its process, its window, its text",
         [](Viewer& v) { v.choose_from_record(); }},

        {{'v'}, "v", "go to a view by its name", [](Viewer& v) { v.ask_for_view(); }},
        {{'V'},
         "V",
         "save filters, marks and columns as a view with a name",
         [](Viewer& v) { v.ask_for_name(); }},
        {{'O'},
         "O",
         "other views: a set of them by its name, or a file by its path",
         [](Viewer& v) { v.ask_for_set(); }},
        {{'\t'},
         "Tab",
         "the next view; 0 to 9: a view by its number",
         [](Viewer& v) { v.next_view(true); }},
        {{KEY_BTAB}, "Shift-Tab", "the previous view", [](Viewer& v) { v.next_view(false); }},
        {{'C'}, "C", "columns on and off", [](Viewer& v) { v.choose_columns(); }},
        {{'r'}, "r", "the raw text, or its columns", [](Viewer& v) { v.show_raw(!v.m_is_raw); }},

        {{'s'},
         "s",
         "save shown: what the filters let through, to a file",
         [](Viewer& v) { v.save(false); }},
        {{'S'}, "S", "save all: every record that is kept", [](Viewer& v) { v.save(true); }},
        {{'M'},
         "M",
         "the mouse scrolls and selects here, or is left to the terminal",
         [](Viewer& v) { v.toggle_mouse(); }},
        {{control('L')}, "Ctrl-L", "redraw the screen", [](Viewer&) { clearok(curscr, TRUE); }},
        {{'?', 'h', KEY_F(1)}, "?, h, F1", "this page", [](Viewer& v) { v.m_help = 0; }},
        {{'q'}, "q", "quit", [](Viewer& v) { v.m_quit = true; }},
    };
    return table;
}

void Viewer::take_keys()
{
    while (const std::optional<Key> key = next_key(m_terminal.is_utf8()))
    {
        m_message.clear();
        m_is_problem = false;
        handle(*key);
        m_drawn = {}; // draws the answer at once
        m_changed = true;
        if (m_quit)
            return;
    }
}

void Viewer::handle(const Key& key)
{
    if (key.code == KEY_RESIZE)
    {
        clearok(curscr, TRUE); // the terminal may have changed its lines
        return;
    }
    if (key.code == KEY_MOUSE)
        return handle_mouse(key);
    if (m_prompt)
        return handle_prompt(key);
    const int number = number_of(key);
    if (m_help)
        return handle_help(number);
    if (m_menu)
        return handle_menu(number);
    if (number >= '0' && number <= '9')
        return numbered_view(static_cast<size_t>(number - '0'));
    for (const Action& action : actions())
        if (number != 0 &&
            std::find(action.keys.begin(), action.keys.end(), number) != action.keys.end())
            return action.run(*this);
}

void Viewer::handle_mouse(const Key& key)
{
    if (m_prompt || m_menu)
        return;
    const ptrdiff_t rows = key.mouse == Key::Mouse::wheel_up ? -wheel_rows : wheel_rows;
    const size_t line = static_cast<size_t>(key.line);
    if (m_help)
        scroll_help(key.mouse == Key::Mouse::click ? 0 : rows);
    else if (key.mouse != Key::Mouse::click)
        scroll(rows);
    else if (line >= m_layout.rows_at && line < m_layout.rows_at + m_layout.rows)
        m_place.go_to_line(m_view, m_layout.rows, line - m_layout.rows_at);
}

void Viewer::handle_prompt(const Key& key)
{
    // The prompt's functions may open another prompt.
    switch (m_prompt->editor.handle(key))
    {
    case LineEditor::Step::changed:
        if (m_prompt->changed)
            m_prompt->changed(m_prompt->editor.text());
        break;
    case LineEditor::Step::accepted:
    {
        const Prompt prompt = *std::exchange(m_prompt, std::nullopt);
        if (prompt.accepted)
            prompt.accepted(prompt.editor.text());
        break;
    }
    case LineEditor::Step::cancelled:
    {
        const Prompt prompt = *std::exchange(m_prompt, std::nullopt);
        if (prompt.cancelled)
            prompt.cancelled();
        break;
    }
    case LineEditor::Step::none:
        if (m_prompt->other_key)
            m_prompt->other_key(key.code);
        break;
    case LineEditor::Step::moved:
        break;
    }
}

void Viewer::handle_menu(int key)
{
    const Menu menu = *std::exchange(m_menu, std::nullopt);
    for (const Menu::Choice& choice : menu.choices)
        if (choice.key == key)
            choice.chosen();
}

void Viewer::handle_help(int key)
{
    const ptrdiff_t page = static_cast<ptrdiff_t>(m_layout.lines);
    switch (key)
    {
    case KEY_UP:
        return scroll_help(-1);
    case KEY_DOWN:
        return scroll_help(1);
    case KEY_PPAGE:
        return scroll_help(-page);
    case KEY_NPAGE:
    case ' ':
        return scroll_help(page);
    case KEY_HOME:
        return scroll_help(-static_cast<ptrdiff_t>(*m_help));
    default:
        m_help.reset();
    }
}

void Viewer::scroll_help(ptrdiff_t lines)
{
    const ptrdiff_t last = static_cast<ptrdiff_t>(help_lines().size()) - 1;
    m_help = static_cast<size_t>(
        std::clamp<ptrdiff_t>(static_cast<ptrdiff_t>(*m_help) + lines, 0, last));
}

void Viewer::move(ptrdiff_t rows)
{
    m_place.move(m_view, m_layout.rows, rows);
}

void Viewer::scroll(ptrdiff_t rows)
{
    m_place.scroll(m_view, m_layout.rows, rows);
}

void Viewer::scroll_sideways(ptrdiff_t columns)
{
    const size_t by = static_cast<size_t>(columns < 0 ? -columns : columns);
    m_skip = columns < 0 ? m_skip - std::min(m_skip, by) : m_skip + by;
}

void Viewer::home()
{
    if (m_view.rows() > 0)
        go_to(m_view.number(0));
}

void Viewer::end()
{
    m_place.set_follows(m_view, m_layout.rows, true);
}

} // namespace trace::full_screen

// Filters, marks and columns, which change while records come.
#include <algorithm>

#include "failure.h"
#include "full_screen/viewer.h"
#include "text_shape.h"

namespace trace::full_screen
{

namespace
{

constexpr std::string_view not_this = "-";

// The rows around the place are shown at once, also before the next key is handled.
constexpr std::chrono::milliseconds first_page_wait{20};

std::string processes_of(const ViewSettings& wanted)
{
    std::vector<std::string> texts = wanted.processes;
    for (const std::string& process : wanted.excluded_processes)
        texts.push_back(std::string(not_this) + process);
    return joined(texts);
}

void put_processes(ViewSettings& wanted, const std::string& line)
{
    wanted.processes.clear();
    wanted.excluded_processes.clear();
    for (std::string& text : divided(line))
        if (text.starts_with(not_this))
            wanted.excluded_processes.push_back(text.substr(not_this.size()));
        else
            wanted.processes.push_back(std::move(text));
}

std::string windows_of(const ViewSettings& wanted)
{
    std::vector<std::string> texts;
    for (const int32_t id : wanted.windows)
        texts.push_back(std::to_string(id));
    return joined(texts);
}

std::string highlights_text(const ViewSettings& wanted)
{
    std::vector<std::string> texts;
    for (const HighlightSetting& highlight : wanted.highlights)
        texts.push_back(highlight.expression);
    return joined_expressions(std::move(texts));
}

bool filters_alike(const ViewSettings& a, const ViewSettings& b)
{
    return a.match == b.match && a.include == b.include && a.exclude == b.exclude &&
           a.windows == b.windows && a.processes == b.processes &&
           a.excluded_processes == b.excluded_processes;
}

} // namespace

// Throws BadPattern for an invalid expression: then nothing changes.
void Viewer::use(ViewSettings wanted)
{
    Highlights highlights = highlights_of(wanted);
    if (!filters_alike(wanted, m_wanted))
    {
        const std::optional<uint64_t> place = m_place.anchor();
        const Store& store = m_view.store();
        // If the list follows new records, the newest rows are examined first.
        const uint64_t newest = store.end() - (store.end() > store.first() ? 1 : 0);
        m_view.set_filter(filter_of(wanted), place.value_or(newest));
        m_view.advance_for(first_page_wait);
        m_patterns_reported.clear();
    }
    m_highlights = std::move(highlights);
    m_wanted = std::move(wanted);
}

bool Viewer::try_to_use(ViewSettings wanted)
{
    try
    {
        use(std::move(wanted));
        return true;
    }
    catch (const std::runtime_error& problem) // BadPattern, Failure
    {
        say(problem.what(), true);
        return false;
    }
}

// The typed text takes effect at once; escape undoes it. While it is invalid, the last valid one
// stays in force.
void Viewer::ask_for(const std::string& label, const std::string& text, PutText put)
{
    const ViewSettings before = m_wanted;
    const auto try_text = [this, before, put](const std::string& typed)
    {
        ViewSettings wanted = before;
        try
        {
            put(wanted, typed);
        }
        catch (const Failure& problem)
        {
            return say(problem.what(), true);
        }
        try_to_use(std::move(wanted));
    };
    m_prompt = Prompt{.label = label,
                      .editor = LineEditor(text),
                      .changed = try_text,
                      .accepted = try_text, // reports the problem again
                      .cancelled = [this, before] { try_to_use(before); }};
}

void Viewer::ask_for_include()
{
    ask_for("include: ", joined_expressions(m_wanted.include),
            [](ViewSettings& wanted, const std::string& text) { wanted.include = divided(text); });
}

void Viewer::ask_for_exclude()
{
    ask_for("exclude: ", joined_expressions(m_wanted.exclude),
            [](ViewSettings& wanted, const std::string& text) { wanted.exclude = divided(text); });
}

void Viewer::ask_for_windows()
{
    ask_for("window ids: ", windows_of(m_wanted),
            [](ViewSettings& wanted, const std::string& text)
            { wanted.windows = windows_from(text); });
}

void Viewer::ask_for_processes()
{
    ask_for("processes: ", processes_of(m_wanted), put_processes);
}

void Viewer::ask_for_highlights()
{
    ask_for("mark: ", highlights_text(m_wanted),
            [](ViewSettings& wanted, const std::string& text)
            { wanted.highlights = highlights_from(text, wanted.highlights); });
}

void Viewer::choose_from_record()
{
    const std::optional<uint64_t> number = m_place.selected(m_view);
    if (!number || m_view.store()[*number].is_loss())
        return say("there is no record to make a filter from");
    const RecordView record = m_view.store()[*number];
    m_menu = Menu{.label = "from this record:"};
    const auto offer = [this](char key, const char* what, auto change)
    {
        m_menu->choices.push_back({key, what,
                                   [this, change]
                                   {
                                       ViewSettings wanted = m_wanted;
                                       change(wanted);
                                       try_to_use(std::move(wanted));
                                   }});
    };
    if (record.process != 0)
    {
        const std::string id = std::to_string(record.process);
        offer('p', "only its process", [id](ViewSettings& w) { w.processes = {id}; });
        offer('P', "not its process",
              [id](ViewSettings& w) { w.excluded_processes.push_back(id); });
    }
    if (const int32_t window = record.window; window != no_window)
        offer('w', "only its window", [window](ViewSettings& w) { w.windows = {window}; });
    const std::string like = expression_like(record.text);
    offer('x', "no texts like this", [like](ViewSettings& w) { w.exclude.push_back(like); });
    offer('i', "only such texts", [like](ViewSettings& w) { w.include = {like}; });
    offer('m', "mark such texts",
          [like](ViewSettings& w) {
              w.highlights.push_back({like, colour_of_highlight(w.highlights.size())});
          });
}

void Viewer::choose_columns()
{
    m_menu = Menu{.label = "columns:"};
    const std::vector<Column> shown = columns_of(m_wanted);
    for (const Column column : all_columns())
    {
        const bool is_shown = std::find(shown.begin(), shown.end(), column) != shown.end();
        const std::string name(name_of(column));
        // The first letters of the columns differ, except those of time and text.
        m_menu->choices.push_back({column == Column::text ? 'x' : name.front(),
                                   name + (is_shown ? " on" : " off"),
                                   [this, column]
                                   {
                                       toggle_column(m_wanted, column);
                                       choose_columns();
                                   }});
    }
}

} // namespace trace::full_screen

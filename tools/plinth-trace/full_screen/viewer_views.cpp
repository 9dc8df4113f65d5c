// The user's own views: chosen, saved, and read from other files.
#include "failure.h"
#include "full_screen/viewer.h"
#include "text.h"

namespace trace::full_screen
{

namespace
{

constexpr const char* time_setting = "terminal.time";
constexpr const char* raw_setting = "terminal.raw";
constexpr const char* date_setting = "terminal.date";
constexpr const char* yes = "yes";

const char* name_of_mode(TimeMode mode)
{
    switch (mode)
    {
    case TimeMode::absolute:
        return "absolute";
    case TimeMode::start:
        return "start";
    case TimeMode::previous:
        return "previous";
    case TimeMode::none:
        break;
    }
    return "none";
}

} // namespace

void Viewer::ask_for_view()
{
    std::string names;
    for (const ViewSettings& view : m_views.all())
        names += (names.empty() ? "" : ", ") + view.name;
    if (names.empty())
        return say("there is no view yet; V saves this one");
    m_prompt = Prompt{.label = "view (" + printable_name(names) + "): ",
                      .accepted = [this](const std::string& name) { load_view(name); }};
}

void Viewer::load_view(const std::string& name)
{
    if (name.empty())
        return;
    const std::optional<size_t> index = m_views.find(name);
    if (!index)
        return say("there is no view \"" + name + "\"", true);
    show_view(m_views.all()[*index]);
}

void Viewer::show_view(const ViewSettings& view)
{
    if (!try_to_use(view))
        return;
    const auto setting = [&](const char* name)
    {
        const auto found = view.others.find(name);
        return found == view.others.end() ? std::string() : found->second;
    };
    show_raw(setting(raw_setting) == yes);
    m_has_date = setting(date_setting) == yes;
    m_time = time_mode_of(setting(time_setting)).value_or(m_time);
    m_delta_from.reset();
}

void Viewer::ask_for_name()
{
    m_prompt = Prompt{.label = "save as view: ",
                      .editor = LineEditor(m_wanted.name),
                      .accepted = [this](const std::string& name) { save_view(name); }};
}

void Viewer::save_view(const std::string& name)
{
    if (name.empty())
        return;
    m_wanted.name = name;
    if (m_wanted.columns.empty())
        for (const Column column : columns_of(m_wanted))
            m_wanted.columns.emplace_back(name_of(column));
    m_wanted.others[time_setting] = name_of_mode(m_time);
    m_wanted.others[raw_setting] = m_is_raw ? yes : "no";
    m_wanted.others[date_setting] = m_has_date ? yes : "no";
    try
    {
        const std::string news = m_views.save(m_wanted);
        say(news.empty() ? "saved as view \"" + name + "\"" : news, !news.empty());
    }
    catch (const Failure& failure)
    {
        say(std::string("not saved: ") + failure.what(), true);
    }
}

void Viewer::ask_for_set()
{
    m_prompt = Prompt{.label = "other views, by name or path: ",
                      .editor = LineEditor(m_views.set()),
                      .accepted = [this](const std::string& name) { open_set(name); }};
}

void Viewer::open_set(const std::string& name)
{
    if (name.empty())
        return;
    const std::string problem = m_views.open(name);
    say(problem.empty() ? std::to_string(m_views.all().size()) + " views in " + name : problem,
        !problem.empty());
}

// Cycles through the views; the view of the command line is before the first.
void Viewer::next_view(bool forward)
{
    const std::vector<ViewSettings>& views = m_views.all();
    const size_t now = m_wanted.name.empty() ? 0 : m_views.find(m_wanted.name).value_or(0) + 1;
    const size_t count = views.size() + 1;
    numbered_view((now + (forward ? 1 : count - 1)) % count);
}

void Viewer::numbered_view(size_t number)
{
    const std::vector<ViewSettings>& views = m_views.all();
    if (number > views.size())
        return say("there is no view " + std::to_string(number));
    show_view(number == 0 ? m_first_wanted : views[number - 1]);
}

} // namespace trace::full_screen

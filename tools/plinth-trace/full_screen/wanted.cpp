#include "full_screen/wanted.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "failure.h"

namespace trace::full_screen
{

namespace
{

constexpr std::string_view divider = pattern_divider;

constexpr uint32_t colours[] = {0xFFFF00, 0x00FF00, 0x00FFFF, 0xFF00FF, 0xFF0000, 0x5050FF};

// All columns except the delta, which the user shows by choosing a record.
constexpr Column usual_columns[] = {Column::number, Column::time, Column::process, Column::window,
                                    Column::text};

std::string text_of(const WantedProcess& process)
{
    return process.id ? std::to_string(process.id) : process.name;
}

} // namespace

ViewSettings wanted_by(const ViewOptions& options)
{
    ViewSettings wanted;
    for (const Pattern& pattern : options.filter.match)
        wanted.match.push_back(pattern.text());
    wanted.include = options.include;
    wanted.exclude = options.exclude;
    wanted.windows = options.filter.windows;
    for (const WantedProcess& process : options.filter.processes)
        wanted.processes.push_back(text_of(process));
    wanted.highlights = highlights_from(joined_expressions(options.highlight), {});
    return wanted;
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string line;
    for (const std::string& text : texts)
        line += (line.empty() ? "" : std::string(divider)) + text;
    return line;
}

std::string joined_expressions(std::vector<std::string> expressions)
{
    for (std::string& expression : expressions)
        expression = without_divider(std::move(expression));
    return joined(expressions);
}

std::vector<std::string> divided(std::string_view line)
{
    std::vector<std::string> texts;
    while (!line.empty())
    {
        const size_t end = std::min(line.find(divider), line.size());
        if (end > 0)
            texts.emplace_back(line.substr(0, end));
        line.remove_prefix(std::min(end + divider.size(), line.size()));
    }
    return texts;
}

std::vector<HighlightSetting> highlights_from(std::string_view line,
                                              const std::vector<HighlightSetting>& before)
{
    std::vector<HighlightSetting> highlights;
    for (std::string& expression : divided(line))
    {
        const auto known = std::find_if(before.begin(), before.end(),
                                        [&](const HighlightSetting& each)
                                        { return each.expression == expression; });
        const uint32_t colour =
            known != before.end() ? known->colour : colour_of_highlight(highlights.size());
        highlights.push_back({std::move(expression), colour});
    }
    return highlights;
}

uint32_t colour_of_highlight(size_t index)
{
    return colours[index % std::size(colours)];
}

WindowIds windows_from(std::string_view line)
{
    WindowIds windows;
    for (const std::string& text : divided(line))
    {
        int32_t id = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, id);
        if (error != std::errc() || stop != end)
            throw Failure(exit_usage, "\"" + text + "\" is no window id, which is a number");
        windows.insert(id);
    }
    return windows;
}

std::vector<Column> columns_of(const ViewSettings& settings)
{
    std::vector<Column> columns;
    const auto add = [&](Column column)
    {
        if (std::find(columns.begin(), columns.end(), column) == columns.end())
            columns.push_back(column);
    };
    for (const std::string& name : settings.columns)
        if (const std::optional<Column> column = column_of(name))
            add(*column);
        else if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos)
            add(Column::text); // the window's number of a field; here one column has all
    if (columns.empty())
        columns.assign(std::begin(usual_columns), std::end(usual_columns));
    return columns;
}

void toggle_column(ViewSettings& settings, Column column)
{
    std::vector<Column> columns = columns_of(settings);
    if (std::erase(columns, column) == 0)
        columns.push_back(column);
    if (columns.empty())
        return;
    std::sort(columns.begin(), columns.end());
    settings.columns.clear();
    for (const Column each : columns)
        settings.columns.emplace_back(name_of(each));
}

} // namespace trace::full_screen

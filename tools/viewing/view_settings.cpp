#include "view_settings.h"

#include <charconv>
#include <cstdio>
#include <optional>

namespace trace
{

namespace
{

constexpr std::string_view head = "plinth-views ";
constexpr int version = 1;
constexpr std::string_view end_line = "[end]"; // without it the file is incomplete
constexpr std::string_view view_line = "[view]";
constexpr std::string_view between = " = ";

constexpr int hex = 16;
constexpr size_t colour_length = 7; // "#RRGGBB"

// ---- values: one line each

std::string escaped(std::string_view value)
{
    std::string out;
    for (const char c : value)
        if (c == '\\')
            out += "\\\\";
        else if (static_cast<unsigned char>(c) < ' ')
        {
            char text[8];
            std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(c));
            out += text;
        }
        else
            out += c;
    return out;
}

template <class Number> bool read_number(std::string_view text, Number& number, int base = 10)
{
    const auto [stop, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && stop == text.data() + text.size() && !text.empty();
}

std::optional<std::string> unescaped(std::string_view text)
{
    std::string out;
    for (size_t at = 0; at < text.size(); ++at)
    {
        if (text[at] != '\\')
        {
            out += text[at];
            continue;
        }
        const std::string_view rest = text.substr(at + 1);
        unsigned code = 0;
        if (rest.starts_with('\\'))
        {
            out += '\\';
            ++at;
        }
        else if (rest.starts_with('x') && rest.size() > 2 &&
                 read_number(rest.substr(1, 2), code, hex))
        {
            out += static_cast<char>(code);
            at += 3;
        }
        else
            return std::nullopt;
    }
    return out;
}

// ---- the parts of a view, by their names in the file

struct ListName
{
    std::string_view name;
    std::vector<std::string> ViewSettings::*list;
};
constexpr ListName lists[] = {
    {"match", &ViewSettings::match},     {"include", &ViewSettings::include},
    {"exclude", &ViewSettings::exclude}, {"process", &ViewSettings::processes},
    {"column", &ViewSettings::columns},  {"not-process", &ViewSettings::excluded_processes},
};

std::optional<HighlightSetting> highlight_from(const std::string& value)
{
    HighlightSetting highlight;
    if (value.size() <= colour_length || value[0] != '#' || value[colour_length] != ' ' ||
        !read_number(std::string_view(value).substr(1, colour_length - 1), highlight.colour, hex))
        return std::nullopt;
    highlight.expression = value.substr(colour_length + 1);
    return highlight;
}

std::string highlight_value(const HighlightSetting& highlight)
{
    char colour[16];
    std::snprintf(colour, sizeof colour, "#%06x ", highlight.colour & 0xFFFFFFU);
    return colour + highlight.expression;
}

// False for an unknown name or an invalid value.
bool take(ViewSettings& view, std::string_view name, const std::string& value)
{
    for (const ListName& each : lists)
        if (each.name == name)
        {
            (view.*each.list).push_back(value);
            return true;
        }
    if (name == "name")
    {
        view.name = value;
        return true;
    }
    if (name == "window")
    {
        int32_t id = 0;
        if (!read_number(value, id))
            return false;
        view.windows.insert(id);
        return true;
    }
    if (name != "highlight")
        return false;
    std::optional<HighlightSetting> highlight = highlight_from(value);
    if (highlight)
        view.highlights.push_back(std::move(*highlight));
    return highlight.has_value();
}

// ---- the file

class Parser
{
public:
    ParsedSettings parse(std::string_view text)
    {
        while (!text.empty() && !m_is_over)
        {
            const size_t end = text.find('\n');
            std::string_view line = text.substr(0, end);
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
            if (line.ends_with('\r'))
                line.remove_suffix(1);
            ++m_line;
            if (!(m_line == 1 ? take_head(line) : take_line(line)))
                break;
        }
        if (m_parsed.state == SettingsState::good && !m_is_over)
            fail("its end is missing");
        return std::move(m_parsed);
    }

private:
    bool take_head(std::string_view line)
    {
        int found = 0;
        if (!line.starts_with(head) || !read_number(line.substr(head.size()), found) || found < 1)
            return fail("it is no file of views");
        if (found == version)
            return true;
        m_parsed.state = SettingsState::later;
        m_parsed.problem = "it was made by a later version";
        return false;
    }

    bool take_line(std::string_view line)
    {
        if (line.empty() || line.starts_with('#'))
            return true;
        if (line == end_line)
            return m_is_over = true;
        if (line == view_line)
        {
            m_parsed.settings.views.emplace_back();
            return true;
        }
        const size_t name_end = line.find(between);
        const std::optional<std::string> value =
            name_end == std::string_view::npos ? std::nullopt
                                               : unescaped(line.substr(name_end + between.size()));
        if (!value || !take_value(line.substr(0, name_end), *value))
            return fail("line " + std::to_string(m_line) + " is no setting");
        return true;
    }

    bool take_value(std::string_view name, const std::string& value)
    {
        std::vector<ViewSettings>& views = m_parsed.settings.views;
        if (name.find('.') != std::string_view::npos)
        {
            OpaqueSettings& others = views.empty() ? m_parsed.settings.others : views.back().others;
            others[std::string(name)] = value;
            return true;
        }
        return !views.empty() && take(views.back(), name, value);
    }

    bool fail(std::string problem)
    {
        m_parsed.state = SettingsState::damaged;
        m_parsed.problem = std::move(problem);
        return false;
    }

    ParsedSettings m_parsed;
    size_t m_line = 0;
    bool m_is_over = false;
};

std::vector<Pattern> patterns_of(const std::vector<std::string>& texts)
{
    std::vector<Pattern> patterns;
    for (const std::string& text : texts)
        try
        {
            patterns.emplace_back(text);
        }
        catch (const BadPattern& problem)
        {
            throw BadPattern("\"" + text + "\" is no regular expression: " + problem.what());
        }
    return patterns;
}

} // namespace

Filter filter_of(const ViewSettings& settings)
{
    Filter filter{.match = patterns_of(settings.match),
                  .include = patterns_of(settings.include),
                  .exclude = patterns_of(settings.exclude),
                  .windows = settings.windows};
    for (const std::string& who : settings.processes)
        filter.processes.push_back(wanted_process(who));
    for (const std::string& who : settings.excluded_processes)
        filter.excluded_processes.push_back(wanted_process(who));
    return filter;
}

Highlights highlights_of(const ViewSettings& settings)
{
    std::vector<std::string> texts;
    for (const HighlightSetting& highlight : settings.highlights)
        texts.push_back(highlight.expression);
    return Highlights(patterns_of(texts));
}

std::string settings_text(const ViewerSettings& settings)
{
    std::string out = std::string(head) + std::to_string(version) + "\n";
    const auto add = [&out](std::string_view name, std::string_view value)
    { ((out += name) += between) += escaped(value) + "\n"; };
    for (const auto& [name, value] : settings.others)
        add(name, value);
    for (const ViewSettings& view : settings.views)
    {
        (out += view_line) += '\n';
        add("name", view.name);
        for (const ListName& each : lists)
            for (const std::string& value : view.*each.list)
                add(each.name, value);
        for (const int32_t window : view.windows)
            add("window", std::to_string(window));
        for (const HighlightSetting& highlight : view.highlights)
            add("highlight", highlight_value(highlight));
        for (const auto& [name, value] : view.others)
            add(name, value);
    }
    return (out += end_line) += '\n';
}

ParsedSettings parse_settings(std::string_view text)
{
    return Parser().parse(text);
}

} // namespace trace

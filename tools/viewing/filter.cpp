#include "filter.h"

#include <algorithm>
#include <charconv>

namespace trace
{

WantedProcess wanted_process(const std::string& text)
{
    DWORD id = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, id);
    if (error == std::errc() && stop == end && id != 0)
        return {.id = id};
    return {.name = text};
}

bool Filter::passes(const RecordView& record) const
{
    if (record.is_loss())
        return true;
    if (!windows.empty() && !windows.contains(record.window))
        return false;
    const auto is_writer = [&](const WantedProcess& wanted)
    { return wanted.id ? wanted.id == record.process : record.name == wanted.name; };
    if (!processes.empty() && std::none_of(processes.begin(), processes.end(), is_writer))
        return false;
    if (std::any_of(excluded_processes.begin(), excluded_processes.end(), is_writer))
        return false;
    const auto may_be_in = [&](const Pattern& pattern)
    { return pattern.in(record.text) != Found::no; };
    const auto is_in = [&](const Pattern& pattern)
    { return pattern.in(record.text) == Found::yes; };
    return std::all_of(match.begin(), match.end(), may_be_in) &&
           (include.empty() || std::any_of(include.begin(), include.end(), may_be_in)) &&
           std::none_of(exclude.begin(), exclude.end(), is_in);
}

std::string Filter::given_up() const
{
    std::string out;
    for (const std::vector<Pattern>* patterns : {&match, &include, &exclude})
        for (const Pattern& pattern : *patterns)
            if (pattern.given_up() > 0)
                out += (out.empty() ? "" : "; ") + std::string("\"") + pattern.text() +
                       "\" takes too long and " +
                       (pattern.is_off() ? "is switched off" : "was given up") + " for " +
                       std::to_string(pattern.given_up()) + " records, which are shown";
    return out;
}

} // namespace trace

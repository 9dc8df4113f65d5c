#include "record_columns.h"

#include <algorithm>

#include "record_time.h"

namespace trace
{

namespace
{

struct ColumnName
{
    Column column;
    std::string_view name;
    std::string_view heading;
};
constexpr ColumnName column_names[] = {
    {Column::number, "number", "#"},      {Column::time, "time", "Time"},
    {Column::delta, "delta", "Delta"},    {Column::process, "process", "Process"},
    {Column::window, "window", "Window"}, {Column::text, "text", "Text"},
};

// The place of the window tag that sets the record's window, with its end: "|wndid:7|" and a blank
// after it. Empty if there is none.
struct Tag
{
    size_t start = 0;
    size_t end = 0;
};
Tag window_tag(std::string_view text, size_t from)
{
    constexpr std::string_view tag = "|wndid:";
    const size_t start = text.find(tag, from);
    if (start == std::string_view::npos || (from == 0 && start > 0))
        return {};
    size_t end = std::min(text.find_first_not_of(" \t\n\v\f\r", start + tag.size()), text.size());
    if (end < text.size() && (text[end] == '-' || text[end] == '+'))
        ++end;
    end = std::min(text.find_first_not_of("0123456789", end), text.size());
    if (end < text.size() && text[end] == '|')
        ++end;
    if (end < text.size() && text[end] == ' ')
        ++end;
    return {start, end};
}

} // namespace

std::string_view name_of(Column column)
{
    return column_names[static_cast<size_t>(column)].name;
}

std::string_view heading_of(Column column)
{
    return column_names[static_cast<size_t>(column)].heading;
}

std::optional<Column> column_of(std::string_view name)
{
    for (const ColumnName& each : column_names)
        if (each.name == name)
            return each.column;
    return std::nullopt;
}

const std::vector<Column>& all_columns()
{
    static const std::vector<Column> all = []
    {
        std::vector<Column> columns;
        for (const ColumnName& each : column_names)
            columns.push_back(each.column);
        return columns;
    }();
    return all;
}

std::string_view text_of(const RecordView& record, TextForm form, std::string& storage)
{
    std::string_view text = record.text;
    if (form == TextForm::raw || record.is_loss())
        return text;
    const std::optional<Stamp> stamp = stamp_of(text);
    const size_t begin = stamp ? stamp->length : 0;
    const Tag tag = record.window == no_window ? Tag{} : window_tag(text, begin);
    if (tag.end == 0)
        return text.substr(begin);
    if (tag.start == begin)
        return text.substr(tag.end);
    storage.assign(text.substr(begin, tag.start - begin));
    storage += text.substr(tag.end);
    return storage;
}

Fields::Fields(std::string_view text)
{
    while (m_fields.size() + 1 < most)
    {
        const size_t tab = text.find('\t');
        if (tab == std::string_view::npos)
            break;
        m_fields.push_back(text.substr(0, tab));
        text.remove_prefix(tab + 1);
    }
    m_fields.push_back(text);
}

size_t count_fields(std::string_view text)
{
    size_t fields = 1; // most texts have few tabs: find is faster than a look at each byte
    for (size_t tab = text.find('\t'); tab != text.npos && fields < Fields::most;
         tab = text.find('\t', tab + 1))
        ++fields;
    return fields;
}

std::string cell_text(Column column, uint64_t number, const RecordView& record,
                      const ColumnStyle& style)
{
    switch (column)
    {
    case Column::number:
        return std::to_string(number + 1);
    case Column::time:
        return time_text(record, style.time, style.base);
    case Column::delta:
        return interval_text(style.chosen, record.time);
    case Column::process:
        return record.process == 0 ? std::string()
                                   : std::to_string(record.process) + " " +
                                         std::string(record.name.empty() ? "?" : record.name);
    case Column::window:
        return record.window == no_window ? std::string() : std::to_string(record.window);
    case Column::text:
        break;
    }
    return {};
}

} // namespace trace

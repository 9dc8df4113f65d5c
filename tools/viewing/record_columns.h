// The columns of a table of records: what a viewer knows of each, then the fields of its text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "line_format.h"
#include "record.h"

namespace trace
{

enum class Column
{
    number,
    time,
    delta, // seconds since the chosen record
    process,
    window,
    text, // the whole text, or its fields in columns of their own
};

// The name of a column in settings, "process", and its heading, "Process".
std::string_view name_of(Column column);
std::string_view heading_of(Column column);
std::optional<Column> column_of(std::string_view name);
const std::vector<Column>& all_columns(); // in their order

enum class TextForm
{
    raw,   // as it came
    plain, // without stamp, marker and window tag, which have columns of their own
};

// The text in its form. `storage` is what it is in where a tag is taken out of its middle; the
// result is good as long as both it and the record's text are.
std::string_view text_of(const RecordView& record, TextForm form, std::string& storage);

// The fields of a text, which tabs divide; at most so many, of which the last has the rest.
class Fields
{
public:
    static constexpr size_t most = 500;

    explicit Fields(std::string_view text);

    size_t size() const { return m_fields.size(); }
    // Empty beyond the last one.
    std::string_view operator[](size_t field) const
    {
        return field < m_fields.size() ? m_fields[field] : std::string_view();
    }

private:
    std::vector<std::string_view> m_fields;
};

// How many fields it has, without finding them.
size_t count_fields(std::string_view text);

// What the cells of a record depend on beside it.
struct ColumnStyle
{
    TimeMode time = TimeMode::absolute;
    TimeBase base{};            // of the row
    Time chosen = unknown_time; // of the record that deltas count from
};

// The text of a cell, but of Column::text; UTF-8, which may hold treacherous characters of a
// process's name. A loss has a number and a time.
std::string cell_text(Column column, uint64_t number, const RecordView& record,
                      const ColumnStyle& style);

} // namespace trace

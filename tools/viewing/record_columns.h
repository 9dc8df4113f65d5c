// The columns of a table of records: what a viewer knows of each record, then the fields of its
// text.
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

// The name of a column in settings, such as "process", and its heading, such as "Process".
std::string_view name_of(Column column);
std::string_view heading_of(Column column);
std::optional<Column> column_of(std::string_view name);
const std::vector<Column>& all_columns(); // in their order

enum class TextForm
{
    raw,   // as received
    plain, // without stamp, marker and window tag, which have columns of their own
};

// The text in this form. `storage` is used when a tag is removed from the middle of the text; the
// result is valid as long as both `storage` and the record's text are.
std::string_view text_of(const RecordView& record, TextForm form, std::string& storage);

// The fields of a text, separated by tabs; the number is limited, and the last field has the rest.
class Fields
{
public:
    static constexpr size_t most = 500;

    explicit Fields(std::string_view text);

    size_t size() const { return m_fields.size(); }
    // Empty after the last one.
    std::string_view operator[](size_t field) const
    {
        return field < m_fields.size() ? m_fields[field] : std::string_view();
    }

private:
    std::vector<std::string_view> m_fields;
};

// The number of fields, without finding them.
size_t count_fields(std::string_view text);

// What the cells of a record depend on besides the record.
struct ColumnStyle
{
    TimeMode time = TimeMode::absolute;
    TimeBase base{};            // of the row
    Time chosen = unknown_time; // of the record from which deltas count
};

// The text of a cell, except for Column::text; UTF-8, which may contain deceptive characters from a
// process's name. A loss has a number and a time.
std::string cell_text(Column column, uint64_t number, const RecordView& record,
                      const ColumnStyle& style);

} // namespace trace

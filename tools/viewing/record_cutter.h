// The rules by which the text of a log is cut into records.
//
// A record extends from a stamp to the next one. Lines without a stamp belong to the record before
// them, as long as both together have no more than 64 KiB. But if the programs of a file write no
// stamps of their own, each line is a record: there the only stamps are those with which the log
// itself begins a session.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "record_time.h"

namespace trace
{

struct Cut
{
    size_t length = 0;    // of the record, with its line end
    size_t text = 0;      // without the line end
    bool is_open = false; // it is not yet known whether the record ends here
    bool has_end = false; // it ends with a line end
    bool is_own = false;  // it begins with a stamp that the program has made
    std::optional<Stamp> stamp{};
};

class RecordCutter
{
public:
    // The first record of the text; an empty text has none. ASCII characters of the text are as in
    // the file, other characters are any values above ASCII.
    Cut cut(std::string_view text) const;

    // The record was taken, and the text after it is cut next.
    void took(const Cut& cut) { m_lines = m_lines && !cut.is_own; }

    // Whether each line is a record of its own, as long as the text shows nothing else.
    void set_lines(bool lines) { m_lines = lines; }
    bool has_lines() const { return m_lines; }

private:
    bool m_lines = true;
};

// The place of the next stamp, after the first character of the text.
size_t next_stamp(std::string_view text);

// Whether the record that begins with this stamp was written by the log itself.
bool is_session_start(std::string_view text, const Stamp& stamp);

// The stamp with which the text begins, if it has a valid date.
std::optional<Stamp> valid_stamp_of(std::string_view text);

} // namespace trace

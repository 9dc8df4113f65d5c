// The rules by which the text of a log is cut into records.
//
// A record goes from a stamp to the next one. Lines without a stamp belong to the record before
// them, as long as both together have no more than 64 KiB. But in a file whose programs write no
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
    bool is_open = false; // nothing shows yet that the record ends here
    bool has_end = false; // it ends with a line end
    bool is_own = false;  // it begins with a stamp that the program has made
    std::optional<Stamp> stamp{};
};

class RecordCutter
{
public:
    // The first record of the text; a text of no characters has none. ASCII in the text is as it is
    // in the file, other characters are anything above it.
    Cut cut(std::string_view text) const;

    // The record was taken, and the text behind it is the next to be cut.
    void took(const Cut& cut) { m_lines = m_lines && !cut.is_own; }

    // Whether each line is a record of its own, as long as the text shows nothing else.
    void set_lines(bool lines) { m_lines = lines; }
    bool has_lines() const { return m_lines; }

private:
    bool m_lines = true;
};

// The place of the next stamp, behind the first characters of the text.
size_t next_stamp(std::string_view text);

// Whether the record that begins with this stamp comes from the log itself.
bool is_session_start(std::string_view text, const Stamp& stamp);

// The stamp with which the text begins, if it says a date.
std::optional<Stamp> valid_stamp_of(std::string_view text);

} // namespace trace

// What viewers read out of foreign texts: lines, records, window tags, stamps, names of log files,
// cursors of exports.
#include "cursor_text.h"
#include "debugging/debugwnd/window_tag.h"
#include "fuzz_target.h"
#include "line_splitter.h"
#include "log_files.h"
#include "record.h"
#include "record_cutter.h"

using fuzz::check;

namespace
{

[[maybe_unused]] const int g_zone = setenv("TZ", "UTC0", 1); // no hour comes twice

// The lines of a text that arrives in pieces of a size, and the rest after the last line.
std::vector<std::string> lines_of(std::string_view text, size_t piece)
{
    std::vector<std::string> lines;
    trace::LineSplitter splitter;
    for (size_t at = 0; at < text.size(); at += piece)
        splitter.feed(text.substr(at, piece),
                      [&](const std::string& line)
                      {
                          check(line.find('\n') == std::string::npos, "a line has no end within");
                          lines.push_back(line);
                      });
    lines.push_back(splitter.take_rest());
    return lines;
}

// Each byte belongs to one record.
void try_records(std::string_view text)
{
    trace::RecordCutter cutter;
    while (!text.empty())
    {
        const trace::Cut cut = cutter.cut(text);
        check(cut.length > 0 && cut.length <= text.size() && cut.text <= cut.length,
              "a record's length");
        check(!cut.is_open || cut.length == text.size(), "only the last record is open");
        cutter.took(cut);
        text.remove_prefix(cut.length);
    }
}

// The library's windows and the viewers find the same one.
void try_window(const std::string& text)
{
    // The library's texts end at a zero, or have characters of several bytes.
    if (std::any_of(text.begin(), text.end(), [](char c) { return c <= 0; }))
        return;
    const std::vector<wchar_t> wide(text.c_str(), text.c_str() + text.size() + 1);
    check(trace::window_of(text).value_or(trace::no_window) == QvFindWindowTag(wide.data()).id,
          "the window of a text");
}

void try_stamp(const std::string& text)
{
    const std::optional<trace::Stamp> stamp = trace::stamp_of(text);
    if (!stamp)
        return;
    check(stamp->length <= text.size() && stamp->local.size() < stamp->length, "a stamp's length");
    const trace::Time time = trace::time_of(*stamp);
    if (time == trace::unknown_time)
        return;
    const std::string shown = trace::local_text(time) + " *vtq* ";
    const std::optional<trace::Stamp> again = trace::stamp_of(shown);
    check(again && trace::time_of(*again) == time, "the time of a stamp");
}

// A cursor keeps every path as it is, whatever characters are in it.
void try_cursor(const std::string& text)
{
    std::vector<std::string> inputs;
    trace::CursorEntries entries;
    trace::parse_cursor(text, inputs, entries);
    if (text.empty())
        return;
    trace::CursorEntry entry;
    entry.mark = {1, text.size()};
    entry.progress.offset = text.size();
    const std::vector<std::string> wanted_inputs{text, "another"};
    const trace::CursorEntries wanted{{text, entry}, {"another", {}}};
    inputs.clear();
    entries.clear();
    const std::string cursor = trace::cursor_text(wanted_inputs, wanted);
    check(trace::parse_cursor(cursor, inputs, entries) == trace::CursorState::good &&
              inputs == wanted_inputs && entries == wanted,
          "what is in a cursor");
}

} // namespace

void fuzz::run(Input input)
{
    const size_t piece = size_t{1} + input.byte();
    const auto bytes = input.text<char>();
    const std::string text(bytes.begin(), bytes.end() - 1);
    check(lines_of(text, piece) == lines_of(text, text.size()), "lines, whatever the pieces");
    try_records(text);
    try_window(text);
    try_stamp(text);
    try_cursor(text);
    if (trace::LogName name; trace::parse_log_name(text, name))
        check(name.date.size() == 10 && name.number <= 999'999'999 && text.find(name.date) == 6,
              "a log file's name");
    trace::Record record;
    record.text = text;
    const std::string json = trace::as_json(record);
    check(std::all_of(json.begin(), json.end() - 1,
                      [](char c) { return static_cast<uint8_t>(c) >= 0x20; }),
          "a line of JSON has no control character");
}

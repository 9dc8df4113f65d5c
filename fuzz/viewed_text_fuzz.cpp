// What viewers read out of foreign texts: lines, window tags, stamps, names of log files.
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "debugging/window_tag.h"
#include "fuzz_check.h"
#include "line_splitter.h"
#include "log_files.h"
#include "record.h"

using fuzz::check;

namespace
{

[[maybe_unused]] const int g_zone = setenv("TZ", "UTC0", 1); // no hour comes twice

// Whatever the pieces in which a text comes, its lines are the same.
void try_lines(std::string_view text, size_t piece)
{
    std::vector<std::string> lines;
    std::vector<std::string> whole_lines;
    trace::LineSplitter pieces;
    trace::LineSplitter whole;
    for (size_t at = 0; at < text.size(); at += piece)
        pieces.feed(text.substr(at, piece),
                    [&](const std::string& line) { lines.push_back(line); });
    whole.feed(text, [&](const std::string& line) { whole_lines.push_back(line); });
    check(lines == whole_lines && pieces.take_rest() == whole.take_rest(), "lines");
    for (const std::string& line : lines)
        check(line.find('\n') == std::string::npos, "a line has no end within");
}

// The library's windows and the viewers find the same one.
void try_window(const std::string& text)
{
    std::vector<wchar_t> wide;
    for (const char c : text)
    {
        if (c <= 0)
            return; // the library's texts end there, or have characters of several bytes
        wide.push_back(static_cast<wchar_t>(c));
    }
    wide.push_back(L'\0');
    const QvWindowTag tag = QvFindWindowTag(wide.data());
    check(trace::window_of(text).value_or(trace::no_window) == tag.id, "the window of a text");
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

void try_name(const std::string& text)
{
    trace::LogName name;
    if (trace::parse_log_name(text, name))
        check(name.date.size() == 10 && name.number <= 999'999'999 &&
                  text.find(name.date) == std::string_view("qvapp_").size(),
              "a log file's name");
}

void try_json(const std::string& text)
{
    trace::Record record;
    record.text = text;
    const std::string json = trace::as_json(record);
    for (const char c : std::string_view(json).substr(0, json.size() - 1))
        check(static_cast<unsigned char>(c) >= 0x20, "a line of JSON has no control character");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const size_t piece = size_t{1} + input.byte();
    size_t length = input.size();
    const auto bytes = input.text<char>(length);
    const std::string text(bytes.get(), length);
    try_lines(text, piece);
    try_window(text);
    try_stamp(text);
    try_name(text);
    try_json(text);
    return 0;
}

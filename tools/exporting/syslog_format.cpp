// A record as one line of RFC 5424.
//
// A line end in the text would end the message, and collectors replace other control characters or
// cut the text there. So in the text a backslash is \\, a line feed \n, a carriage return \r, a tab
// \t, and any other character that controls a terminal or is invisible \xNN or \u{NNNN}: the
// original text can be restored.
#include <algorithm>

#include "formats.h"
#include "text.h"

namespace trace
{

namespace
{

constexpr int priority = 14;      // user-level message, informational
constexpr int loss_priority = 12; // the same, warning

constexpr const char* element = "plinth@32473"; // the number for examples: we have none of our own

constexpr char del = '\x7f';

std::string escaped(std::string_view text)
{
    constexpr std::string_view plain = "\\\n\r\t";
    constexpr std::string_view letters = "\\nrt";
    std::string out;
    out.reserve(text.size());
    for (const char c : text)
        if (const size_t known = plain.find(c); known != std::string_view::npos)
            (out += '\\') += letters[known];
        else
            out += c;
    return printable_name(out);
}

// The fields of the head are printable ASCII without blanks, and of limited length.
std::string head_field(std::string_view text, size_t most)
{
    std::string out(text.substr(0, most));
    std::replace_if(
        out.begin(), out.end(), [](char c) { return c <= ' ' || c >= del; }, '_');
    return out.empty() ? "-" : out;
}

// Escapes quotation marks and brackets, which would end the value, and backslashes.
void append_parameter(std::string& out, const char* name, std::string_view value)
{
    ((out += ' ') += name) += "=\"";
    for (const char c : printable_name(value))
    {
        if (c == '"' || c == '\\' || c == ']')
            out += '\\';
        out += c;
    }
    out += '"';
}

} // namespace

std::string as_syslog(const Record& record, const Place* place, const std::string& host)
{
    constexpr size_t most_host = 255;
    constexpr size_t most_name = 48;
    const std::string time = rfc3339_text(record.time);
    std::string out = '<' + std::to_string(record.is_loss() ? loss_priority : priority) + ">1 " +
                      (time.empty() ? "-" : time) + ' ' + head_field(host, most_host) + ' ' +
                      head_field(record.name ? *record.name : "plinth", most_name) + ' ' +
                      (record.process ? std::to_string(record.process) : "-") + " - ";
    if (!place && !record.is_loss())
        return out + "- " + escaped(record.text) + '\n';
    (out += '[') += element;
    if (place)
    {
        append_parameter(out, "file", place->file);
        append_parameter(out, "id", mark_text(place->mark));
        append_parameter(out, "offset", std::to_string(place->offset));
        append_parameter(out, "number", std::to_string(place->number));
        append_parameter(out, "session", std::to_string(place->session));
    }
    if (record.is_loss())
        append_parameter(out, "lost", std::to_string(record.lost));
    if (record.is_uncounted)
        append_parameter(out, "uncounted", "true");
    return out + "] " + escaped(record.text) + '\n';
}

} // namespace trace

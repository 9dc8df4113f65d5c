#include "cursor_text.h"

#include <charconv>
#include <cstdio>
#include <optional>

#include "fingerprint.h"

namespace trace
{

namespace
{

constexpr std::string_view head = "plinth-trace-cursor ";
constexpr uint64_t version = 1;

constexpr int hexadecimal = 16;

std::string hex_of(uint64_t number)
{
    char text[20];
    const int length =
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(number));
    return {text, static_cast<size_t>(length)};
}

std::string word_of(std::string_view path)
{
    std::string word;
    for (const char c : path)
    {
        if (static_cast<unsigned char>(c) > ' ' && c != '%')
        {
            word += c;
            continue;
        }
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
        word += escape;
    }
    return word;
}

std::optional<std::string> path_of(std::string_view word)
{
    constexpr size_t escape = 3;
    std::string path;
    while (!word.empty())
    {
        if (word[0] != '%')
        {
            path += word[0];
            word.remove_prefix(1);
            continue;
        }
        unsigned char byte = 0;
        const char* const end = word.data() + std::min(escape, word.size());
        if (std::from_chars(word.data() + 1, end, byte, hexadecimal).ptr != word.data() + escape)
            return std::nullopt;
        path += static_cast<char>(byte);
        word.remove_prefix(escape);
    }
    return path;
}

// Takes words off a line. After one bad word the whole line counts as bad.
class Words
{
public:
    explicit Words(std::string_view line) : m_rest(line) {}

    std::string_view word()
    {
        const size_t end = std::min(m_rest.find(' '), m_rest.size());
        const std::string_view word = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        m_is_good = m_is_good && !word.empty();
        return word;
    }

    template <class Number> void take(Number& number, int base = 10)
    {
        const std::string_view text = word();
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number, base);
        m_is_good = m_is_good && error == std::errc() && stop == end;
    }

    void take(bool& flag)
    {
        const std::string_view text = word();
        flag = text == "1";
        m_is_good = m_is_good && (flag || text == "0");
    }

    std::string path()
    {
        const std::optional<std::string> path = path_of(word());
        m_is_good = m_is_good && path;
        return path.value_or("");
    }

    bool is_good_and_over() const { return m_is_good && m_rest.empty(); }

private:
    std::string_view m_rest;
    bool m_is_good = true;
};

std::string line_of(const std::string& path, const CursorEntry& entry)
{
    const LogProgress& at = entry.progress;
    return "file " + std::to_string(at.offset) + ' ' + std::to_string(at.number) + ' ' +
           std::to_string(at.session) + ' ' + std::to_string(at.last) + ' ' +
           std::to_string(at.has_lines) + ' ' + std::to_string(at.skips_end) + ' ' +
           std::to_string(entry.mark.length) + ' ' + hex_of(entry.mark.hash) + ' ' + word_of(path) +
           '\n';
}

bool parse_file(Words words, CursorEntries& entries)
{
    constexpr uint64_t most_mark = 4096; // bytes
    CursorEntry entry;
    LogProgress& at = entry.progress;
    words.take(at.offset);
    words.take(at.number);
    words.take(at.session);
    words.take(at.last);
    words.take(at.has_lines);
    words.take(at.skips_end);
    words.take(entry.mark.length);
    words.take(entry.mark.hash, hexadecimal);
    const std::string path = words.path();
    return words.is_good_and_over() && entry.mark.length <= most_mark &&
           entries.emplace(path, entry).second;
}

bool parse_line(std::string_view line, std::vector<std::string>& inputs, CursorEntries& entries)
{
    Words words(line);
    const std::string_view kind = words.word();
    if (kind == "file")
        return parse_file(words, entries);
    inputs.push_back(words.path());
    return kind == "input" && words.is_good_and_over();
}

} // namespace

std::string cursor_text(const std::vector<std::string>& inputs, const CursorEntries& entries)
{
    std::string text = std::string(head) + std::to_string(version) + '\n';
    for (const std::string& input : inputs)
        text += "input " + word_of(input) + '\n';
    for (const auto& [path, entry] : entries)
        text += line_of(path, entry);
    return text + "end " + hex_of(fingerprint_of(text)) + '\n';
}

CursorState parse_cursor(std::string_view text, std::vector<std::string>& inputs,
                         CursorEntries& entries)
{
    constexpr std::string_view end = "end 0123456789abcdef\n";
    if (!text.starts_with(head))
        return CursorState::damaged;
    uint64_t made_by = 0;
    std::from_chars(text.data() + head.size(), text.data() + text.size(), made_by);
    if (made_by > version)
        return CursorState::later;
    if (text.size() < end.size())
        return CursorState::damaged;
    std::string_view rest = text.substr(0, text.size() - end.size());
    if (text.substr(rest.size()) != "end " + hex_of(fingerprint_of(rest)) + '\n')
        return CursorState::damaged;
    rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
    while (!rest.empty())
    {
        const size_t line = std::min(rest.find('\n'), rest.size() - 1);
        if (!parse_line(rest.substr(0, line), inputs, entries))
            return CursorState::damaged;
        rest.remove_prefix(line + 1);
    }
    return CursorState::good;
}

} // namespace trace

#include "reg_text.h"

#include <algorithm>
#include <cstdio>

#include "system/text.h"
#include "winnt.h"

namespace platform
{

namespace
{

constexpr std::string_view heading = "Windows Registry Editor Version 5.00";
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16_mark = "\xFF\xFE"; // little-endian
// How many bytes the paths may have, in total, of keys that have no line of their own in the text.
// In a text that we have written, each key has one.
constexpr size_t least_room = size_t{1} << 20;
constexpr size_t room_per_byte = 16;
constexpr size_t hex_wrap = 76; // columns after which a hex value continues on the next line

std::vector<BYTE> text_data(std::string_view utf8)
{
    std::vector<BYTE> data((wide_from_utf8(utf8.data(), utf8.size(), nullptr, 0) + 1) * 2, 0);
    wide_from_utf8(utf8.data(), utf8.size(), reinterpret_cast<wchar_t*>(data.data()),
                   data.size() / 2 - 1);
    return data;
}

// The text of a REG_SZ value. False if its data differs from what text_data makes of that text.
bool data_text(const RegValue& value, std::string& text)
{
    if (value.data.size() < 2 || value.data.size() % 2 != 0)
        return false;
    const size_t units = value.data.size() / 2 - 1;
    text = to_utf8(reinterpret_cast<const wchar_t*>(value.data.data()), units);
    return text.find_first_of(std::string_view("\0\r\n", 3)) == std::string::npos &&
           text_data(text) == value.data;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool parse_hex_number(std::string_view digits, uint32_t& value)
{
    if (digits.empty() || digits.size() > 8)
        return false;
    value = 0;
    for (const char c : digits)
    {
        const int digit = hex_digit(c);
        if (digit < 0)
            return false;
        value = value * 16 + static_cast<uint32_t>(digit);
    }
    return true;
}

// "01,02,ff"; blanks between are allowed, as continuation lines are indented.
bool parse_hex_list(std::string_view list, std::vector<BYTE>& data)
{
    list = trimmed(list);
    while (!list.empty())
    {
        const size_t comma = list.find(',');
        uint32_t byte = 0;
        const std::string_view item = trimmed(list.substr(0, comma));
        if (item.size() > 2 || !parse_hex_number(item, byte))
            return false;
        data.push_back(static_cast<BYTE>(byte));
        list = comma == std::string_view::npos ? "" : trimmed(list.substr(comma + 1));
    }
    return true;
}

// Reads a quoted text with its escapes; rest is the text after it.
bool parse_quoted(std::string_view text, std::string& result, std::string_view& rest)
{
    if (text.empty() || text.front() != '"')
        return false;
    for (size_t at = 1; at < text.size(); ++at)
    {
        if (text[at] == '"')
        {
            rest = text.substr(at + 1);
            return true;
        }
        if (text[at] == '\\' && ++at == text.size())
            return false;
        result += text[at];
    }
    return false;
}

bool parse_data(std::string_view text, RegValue& value)
{
    constexpr std::string_view dword = "dword:";
    constexpr std::string_view hex = "hex";
    if (!text.empty() && text.front() == '"')
    {
        std::string content;
        std::string_view rest;
        if (!parse_quoted(text, content, rest) || !trimmed(rest).empty())
            return false;
        value.type = REG_SZ;
        value.data = text_data(content);
        return true;
    }
    if (text.substr(0, dword.size()) == dword)
    {
        uint32_t number = 0;
        if (!parse_hex_number(trimmed(text.substr(dword.size())), number))
            return false;
        value.type = REG_DWORD;
        for (int shift = 0; shift < 32; shift += 8)
            value.data.push_back(static_cast<BYTE>(number >> shift));
        return true;
    }
    if (text.substr(0, hex.size()) != hex)
        return false;
    text.remove_prefix(hex.size());
    value.type = REG_BINARY;
    if (!text.empty() && text.front() == '(')
    {
        const size_t end = text.find(')');
        if (end == std::string_view::npos || !parse_hex_number(text.substr(1, end - 1), value.type))
            return false;
        text.remove_prefix(end + 1);
    }
    return !text.empty() && text.front() == ':' && parse_hex_list(text.substr(1), value.data);
}

bool parse_value(std::string_view line, RegKey& key)
{
    RegValue value;
    std::string_view rest;
    if (line.front() == '@')
        rest = line.substr(1);
    else if (!parse_quoted(line, value.name, rest))
        return false;
    rest = trimmed(rest);
    if (rest.empty() || rest.front() != '=')
        return false;
    rest = trimmed(rest.substr(1));
    const std::string folded = fold_name(value.name);
    if (rest == "-") // a deletion
    {
        key.values.erase(folded);
        return true;
    }
    if (!parse_data(rest, value))
        return false;
    key.values[folded] = std::move(value);
    return true;
}

// Returns lines with their continuations joined; counts the lines of the file.
class Lines
{
public:
    explicit Lines(std::string_view text) : m_rest(text) {}

    bool next(std::string& joined)
    {
        joined.clear();
        bool any = false;
        while (!m_rest.empty())
        {
            const size_t end = m_rest.find('\n');
            const std::string_view line = trimmed(m_rest.substr(0, end));
            m_rest = end == std::string_view::npos ? "" : m_rest.substr(end + 1);
            ++m_number;
            any = true;
            joined += line;
            // Only lists of bytes continue on the next line; a text may well end in a backslash.
            if (joined.empty() || joined.back() != '\\' || joined.find("=hex") == std::string::npos)
                return true;
            joined.pop_back();
        }
        return any;
    }
    size_t number() const { return m_number; }

private:
    std::string_view m_rest;
    size_t m_number = 0;
};

// The path below the hive's root. False if the key is not in this hive.
bool path_below(std::string_view key, std::string_view root, std::string_view& path)
{
    if (fold_name(key.substr(0, root.size())) != fold_name(root))
        return false;
    path = key.substr(root.size());
    if (path.empty())
        return true;
    if (path.front() != '\\')
        return false;
    path.remove_prefix(1);
    return !path.empty();
}

// Makes a key and all missing keys above it. Null if it is nested too deep, or if the paths of all
// keys need more room than there is left: each key is stored with its whole path, so a short text
// could otherwise require any amount of memory.
RegKey* make_key(Hive& hive, std::string_view path, size_t& room)
{
    constexpr auto none = std::string_view::npos;
    if (key_levels(path) > deepest_key)
        return nullptr;
    std::string folded = fold_name(path);
    auto made = hive.try_emplace(folded, RegKey{std::string(path), {}});
    RegKey& key = made.first->second;
    for (size_t end = path.rfind('\\'); made.second && end != none; end = path.rfind('\\'))
    {
        if (path.size() > room)
            return nullptr;
        room -= path.size();
        path = path.substr(0, end);
        folded.resize(folded.rfind('\\')); // folding keeps the separators
        made = hive.try_emplace(folded, RegKey{std::string(path), {}});
    }
    return &key;
}

void remove_key(Hive& hive, const std::string& folded)
{
    for (auto at = hive.lower_bound(folded); at != hive.end();)
        if (at->first == folded || at->first.compare(0, folded.size() + 1, folded + "\\") == 0)
            at = hive.erase(at);
        else if (at->first.compare(0, folded.size(), folded) == 0)
            ++at;
        else
            break;
}

std::string quoted(std::string_view text)
{
    std::string result = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + "\"";
}

void write_hex(std::string& out, std::string line, const RegValue& value)
{
    char piece[24];
    if (value.type == REG_BINARY)
        line += "hex:";
    else
    {
        std::snprintf(piece, sizeof piece, "hex(%x):", value.type);
        line += piece;
    }
    for (size_t i = 0; i < value.data.size(); ++i)
    {
        std::snprintf(piece, sizeof piece, "%02x%s", value.data[i],
                      i + 1 < value.data.size() ? "," : "");
        line += piece;
        if (line.size() > hex_wrap && i + 1 < value.data.size())
        {
            out += line + "\\\r\n";
            line = "  ";
        }
    }
    out += line + "\r\n";
}

void write_value(std::string& out, const RegValue& value)
{
    const std::string start = (value.name.empty() ? "@" : quoted(value.name)) + "=";
    std::string text;
    if (value.type == REG_DWORD && value.data.size() == 4)
    {
        char number[32];
        std::snprintf(number, sizeof number, "dword:%02x%02x%02x%02x", value.data[3], value.data[2],
                      value.data[1], value.data[0]);
        out += start + number + "\r\n";
    }
    else if (value.type == REG_SZ && data_text(value, text))
        out += start + quoted(text) + "\r\n";
    else
        write_hex(out, start, value);
}

// False if the bytes are no whole text: half a character, or half a surrogate pair.
bool utf8_of_utf16(std::string_view bytes, std::string& text)
{
    std::vector<wchar_t> units(bytes.size() / 2);
    for (size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<wchar_t>(static_cast<BYTE>(bytes[2 * i]) |
                                        static_cast<BYTE>(bytes[2 * i + 1]) << 8);
    text = to_utf8(units.data(), units.size());
    // An unpaired surrogate became another character.
    std::vector<wchar_t> again(units.size());
    return bytes.size() % 2 == 0 &&
           wide_from_utf8(text.data(), text.size(), again.data(), again.size()) == units.size() &&
           again == units;
}

bool parse_utf8(std::string_view text, std::string_view root, Hive& hive, size_t& line)
{
    if (!is_utf8(text.data(), text.size()) || text.find('\0') != std::string_view::npos)
        return false;
    Lines lines(text);
    std::string current;
    if (!lines.next(current) || current != heading)
        return false;
    RegKey* key = nullptr;
    size_t room = least_room + text.size() * room_per_byte;
    while (lines.next(current))
    {
        line = lines.number();
        if (current.empty() || current.front() == ';')
            continue;
        if (current.front() != '[')
        {
            if (!key || !parse_value(current, *key))
                return false;
            continue;
        }
        std::string_view name = current;
        const bool removes = name.size() > 1 && name[1] == '-';
        if (name.back() != ']')
            return false;
        name = name.substr(1 + removes, name.size() - 2 - removes);
        std::string_view path;
        if (!path_below(name, root, path))
            return false;
        key = nullptr;
        if (removes)
            remove_key(hive, fold_name(path));
        else
        {
            key = make_key(hive, path, room);
            if (!key)
                return false;
        }
    }
    return true;
}

} // namespace

std::string fold_name(std::string_view name)
{
    std::string result;
    std::vector<wchar_t> wide(wide_from_utf8(name.data(), name.size(), nullptr, 0) + 1);
    size_t length = 0;
    wide_from_utf8(name.data(), name.size(), wide.data(), wide.size(), &length);
    for (size_t i = 0; i < length; ++i)
        wide[i] = fold_case(wide[i]);
    return to_utf8(wide.data(), length);
}

size_t key_levels(std::string_view path)
{
    return path.empty() ? 0 : 1 + static_cast<size_t>(std::ranges::count(path, '\\'));
}

bool parse_reg_text(std::string_view text, std::string_view root, Hive& hive, size_t& line)
{
    hive.clear();
    hive[""];
    line = 1;
    std::string converted;
    if (text.starts_with(utf16_mark))
        return utf8_of_utf16(text.substr(utf16_mark.size()), converted) &&
               parse_utf8(converted, root, hive, line);
    if (text.starts_with(byte_order_mark))
        text.remove_prefix(byte_order_mark.size());
    return parse_utf8(text, root, hive, line);
}

std::string write_reg_text(const Hive& hive, std::string_view root)
{
    std::string out(heading);
    out += "\r\n";
    for (const auto& [folded, key] : hive)
    {
        if (folded.empty() && key.values.empty())
            continue;
        out += "\r\n[" + std::string(root) + (folded.empty() ? "" : "\\") + key.name + "]\r\n";
        for (const auto& [name, value] : key.values)
            write_value(out, value);
    }
    return out;
}

} // namespace platform

// Conversion between the two forms of text, and what reads from a text: bytes of any kind.
#include <cstring>

#include <plinth_platform.h>
#include <tchar.h>
#include <windows.h>

#include "fuzz_target.h"

using fuzz::check;

namespace
{

int convert(const char* text, int length, wchar_t* out, int size)
{
    return MultiByteToWideChar(CP_UTF8, 0, text, length, out, size);
}

int convert(const wchar_t* text, int length, char* out, int size)
{
    return WideCharToMultiByte(CP_UTF8, 0, text, length, out, size, nullptr, nullptr);
}

// The whole text in the other form.
template <class To, class From> std::vector<To> converted(std::span<const From> text)
{
    const int units = static_cast<int>(text.size());
    const int needed = convert(text.data(), units, static_cast<To*>(nullptr), 0);
    check(needed > 0, "a text has a length");
    std::vector<To> whole(static_cast<size_t>(needed));
    check(convert(text.data(), units, whole.data(), needed) == needed,
          "the length asked for suffices");
    return whole;
}

// Converts there, back and there again: the first way may replace faults, the others change
// nothing. Returns the text after the way back.
template <class To, class From>
std::vector<From> try_conversion(std::span<const From> text, size_t size)
{
    const auto whole = converted<To>(text);
    std::vector<To> part(size);
    const int stored =
        convert(text.data(), static_cast<int>(text.size()), part.data(), static_cast<int>(size));
    const bool fits = whole.size() <= size;
    check(stored == (fits ? static_cast<int>(whole.size()) : 0), "what does not fit fails");
    check(fits || GetLastError() == ERROR_INSUFFICIENT_BUFFER, "and says why");
    const auto back = converted<From>(std::span<const To>(whole));
    check(converted<To>(std::span<const From>(back)) == whole,
          "a converted text has no faults left");
    return back;
}

void try_narrow(const std::vector<char>& text, size_t size)
{
    const auto units = std::span(text).first(text.size() - 1);
    const bool same = std::ranges::equal(try_conversion<wchar_t>(units, size), units);
    check(same == (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                       static_cast<int>(units.size()), nullptr, 0) != 0),
          "a text is called good if it comes back unchanged");
    std::vector<wchar_t> part(size);
    check(mbstowcs(part.data(), text.data(), size) <= size, "mbstowcs keeps to the count");
}

void try_numbers(const wchar_t* text)
{
    const wchar_t* const text_end = text + wcslen(text);
    wchar_t* end = nullptr;
    wcstol(text, &end, 0);
    check(end >= text && end <= text_end, "a number lies within its text");
    wcstod(text, &end);
    check(end >= text && end <= text_end, "a number lies within its text");
    _wtoi64(text);
}

// A path that has a native form has it without dots, and is its own native form.
void try_path(const wchar_t* path)
{
    char once[4096], twice[4096];
    const DWORD length = PlinthNativePath(path, once, sizeof once);
    if (length == 0)
        return;
    check(std::strlen(once) == length, "the length is that of the path");
    if (once[0] != '/')
        return; // might begin like a drive
    for (const char* level : {"/./", "/../"})
        check((std::string(once) + "/").find(level) == std::string::npos, "no dots are left");
    wchar_t wide[4096];
    convert(once, -1, wide, 4096);
    check(PlinthNativePath(wide, twice, sizeof twice) == length && std::strcmp(once, twice) == 0,
          "a native path is its own");
}

void try_scan(const wchar_t* text, size_t length)
{
    double real = 0;
    unsigned number = 0;
    int at = 0;
    std::vector<wchar_t> word(9), format;
    std::vector<char> bytes(9);
    swscanf(text, L"%lf%n", &real, &at);
    check(at >= 0 && static_cast<size_t>(at) <= length, "a position lies within the text");
    swscanf(text, L"%*s %*u %u", &number);
    swscanf(text, L"%8s %8hs", word.data(), bytes.data());
    swscanf(text, L"%8[^a-f]%i%*[ -~]%3x", word.data(), &number, &number);
    // A hostile format, all of whose fields are skipped.
    for (const wchar_t* c = text; *c; ++c)
    {
        format.push_back(*c);
        if (*c == L'%')
            format.push_back(L'*');
    }
    format.push_back(L'\0');
    swscanf(text, format.data());
}

void try_wide(const std::vector<wchar_t>& text, size_t size)
{
    const auto units = std::span(text).first(text.size() - 1);
    try_conversion<char>(units, size);
    std::vector<char> part(size);
    check(wcstombs(part.data(), text.data(), size) <= size, "wcstombs keeps to the count");
    try_numbers(text.data());
    try_scan(text.data(), units.size());
    try_path(text.data());
    wchar_t drive[_MAX_DRIVE], folder[_MAX_DIR], name[_MAX_FNAME], extension[_MAX_EXT];
    _wsplitpath(text.data(), drive, folder, name, extension);
    check(wcslen(drive) + wcslen(folder) + wcslen(name) + wcslen(extension) <= units.size(),
          "the parts of a path come from it");
}

} // namespace

void fuzz::run(Input input)
{
    const bool wide = input.byte() & 1;
    const size_t capacity = size_t{1} + input.byte();
    if (input.size() < (wide ? sizeof(wchar_t) : 1))
        return;
    if (wide)
        try_wide(input.text<wchar_t>(), capacity);
    else
        try_narrow(input.text<char>(), capacity);
}

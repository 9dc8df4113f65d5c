// Conversion between the two forms of text, and what reads from a text: bytes of any kind.
#include <cstring>
#include <string>
#include <vector>

#include <plinth_platform.h>
#include <tchar.h>
#include <windows.h>

#include "fuzz_check.h"

using fuzz::check;

namespace
{

template <class From, class To>
using Convert = int (*)(const From* text, int length, To* out, int size);

int widen(const char* text, int length, wchar_t* out, int size)
{
    return MultiByteToWideChar(CP_UTF8, 0, text, length, out, size);
}

int narrow(const wchar_t* text, int length, char* out, int size)
{
    return WideCharToMultiByte(CP_UTF8, 0, text, length, out, size, nullptr, nullptr);
}

// Converts there, back and there again: the first way may replace faults, the others change
// nothing. Stores the text after the first way.
template <class From, class To>
std::vector<To> try_conversion(const From* text, size_t length, size_t size,
                               Convert<From, To> there, Convert<To, From> back)
{
    const int units = static_cast<int>(length);
    const int needed = there(text, units, nullptr, 0);
    check(needed > 0, "a text has a length");
    std::vector<To> whole(static_cast<size_t>(needed));
    check(there(text, units, whole.data(), needed) == needed, "the length asked for suffices");

    const auto part = std::make_unique<To[]>(size);
    const int stored = there(text, units, part.get(), static_cast<int>(size));
    const bool fits = static_cast<size_t>(needed) <= size;
    check(stored == (fits ? needed : 0), "what does not fit fails");
    check(fits || GetLastError() == ERROR_INSUFFICIENT_BUFFER, "and says why");

    const int length_back = back(whole.data(), needed, nullptr, 0);
    std::vector<From> returned(static_cast<size_t>(length_back));
    back(whole.data(), needed, returned.data(), length_back);
    std::vector<To> again(static_cast<size_t>(needed));
    check(there(returned.data(), length_back, again.data(), needed) == needed && again == whole,
          "a converted text has no faults left");
    return whole;
}

void try_narrow(fuzz::Input& input, size_t size)
{
    size_t length = input.size();
    if (length == 0)
        return;
    const auto text = input.text<char>(length);
    const auto wide = try_conversion<char, wchar_t>(text.get(), length, size, widen, narrow);
    std::vector<char> back(length * 3);
    const int stored = narrow(wide.data(), static_cast<int>(wide.size()), back.data(),
                              static_cast<int>(back.size()));
    const bool good = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.get(),
                                          static_cast<int>(length), nullptr, 0) != 0;
    check(good == (static_cast<size_t>(stored) == length &&
                   std::equal(text.get(), text.get() + length, back.data())),
          "a text is called good if it comes back unchanged");

    const auto part = std::make_unique<wchar_t[]>(size);
    check(mbstowcs(part.get(), text.get(), size) <= size, "mbstowcs keeps to the count");
}

void try_numbers(const wchar_t* text, size_t length)
{
    wchar_t* end = nullptr;
    const double value = wcstod(text, &end);
    check(end >= text && end <= text + length, "a number lies within its text");
    wcstol(text, &end, 0);
    check(end >= text && end <= text + length, "a number lies within its text");
    _wtoi64(text);

    // The C library reads the same number, a terminator taking the place of what is not ASCII. It
    // knows letters behind "nan" that the runtime doesn't.
    std::vector<char> ascii(length + 1);
    for (size_t i = 0; i < length; ++i)
        ascii[i] = text[i] < 0x80 ? static_cast<char>(text[i]) : '\0';
    char* stop = nullptr;
    const double expected = std::strtod(ascii.data(), &stop);
    if (expected == expected)
    {
        check(value == expected, "the value of a number");
        wcstod(text, &end);
        check(end - text == stop - ascii.data(), "the end of a number");
    }
}

// A path that has a native form has it without dots, and is its own native form.
void try_path(const wchar_t* path)
{
    char once[4096];
    const DWORD length = PlinthNativePath(path, once, sizeof once);
    if (length == 0)
        return;
    check(std::strlen(once) == length, "the length is that of the path");
    if (once[0] != '/')
        return; // might begin like a drive
    for (const char* level : {"/./", "/../"})
        check((std::string(once) + "/").find(level) == std::string::npos, "no dots are left");
    wchar_t wide[4096];
    widen(once, -1, wide, 4096);
    char twice[4096];
    check(PlinthNativePath(wide, twice, sizeof twice) == length && std::strcmp(once, twice) == 0,
          "a native path is its own");
}

void try_wide(fuzz::Input& input, size_t size)
{
    size_t length = input.size();
    const auto text = input.text<wchar_t>(length);
    if (length == 0)
        return;
    try_conversion<wchar_t, char>(text.get(), length, size, narrow, widen);
    const auto part = std::make_unique<char[]>(size);
    check(wcstombs(part.get(), text.get(), size) <= size, "wcstombs keeps to the count");
    try_numbers(text.get(), wcslen(text.get()));

    double real = 0;
    unsigned number = 0;
    int at = 0;
    const auto word = std::make_unique<wchar_t[]>(9);
    const auto bytes = std::make_unique<char[]>(9);
    swscanf(text.get(), L"%lf%n", &real, &at);
    check(at >= 0 && static_cast<size_t>(at) <= length, "a position lies within the text");
    swscanf(text.get(), L"%*s %*u %u", &number);
    swscanf(text.get(), L"%8s %8hs", word.get(), bytes.get());
    swscanf(text.get(), L"%8[^a-f]%i%*[ -~]%3x", word.get(), &number, &number);
    // A hostile format, all of whose fields are skipped.
    std::vector<wchar_t> format;
    for (const wchar_t* c = text.get(); *c; ++c)
    {
        format.push_back(*c);
        if (*c == L'%')
            format.push_back(L'*');
    }
    format.push_back(L'\0');
    swscanf(text.get(), format.data());

    try_path(text.get());
    wchar_t drive[_MAX_DRIVE];
    wchar_t folder[_MAX_DIR];
    wchar_t name[_MAX_FNAME];
    wchar_t extension[_MAX_EXT];
    _wsplitpath(text.get(), drive, folder, name, extension);
    check(wcslen(drive) + wcslen(folder) + wcslen(name) + wcslen(extension) <= length,
          "the parts of a path come from it");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const bool wide = input.byte() & 1;
    const size_t capacity = size_t{1} + input.byte();
    if (wide)
        try_wide(input, capacity);
    else
        try_narrow(input, capacity);
    return 0;
}

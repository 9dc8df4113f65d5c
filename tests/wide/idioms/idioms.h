// Usual pieces of code with wide text, each with a name and a check. Results are compared unit by
// unit, since the functions under test can't check themselves.
#pragma once

#include <cstddef>
#include <string>

struct Idiom
{
    const char* name;
    bool (*holds)();
};

struct Idioms
{
    const Idiom* first;
    std::size_t count;
};

// One table for each file.
Idioms string_idioms();
Idioms function_idioms();
Idioms conversion_idioms();
Idioms stream_idioms();
Idioms locale_idioms();

// Whether a text equals the literal. Embedded zeros count.
template <std::size_t Size> bool is(const std::wstring& text, const wchar_t (&expected)[Size])
{
    if (text.size() != Size - 1)
        return false;
    for (std::size_t i = 0; i < Size; ++i)
        if (text.c_str()[i] != expected[i])
            return false;
    return true;
}
template <std::size_t Size> bool is(const wchar_t* text, const wchar_t (&expected)[Size])
{
    for (std::size_t i = 0; i < Size; ++i)
        if (text[i] != expected[i])
            return false;
    return true;
}
inline bool is(const std::string& text, const char* expected)
{
    return text == expected;
}

// The sizes at which strings of either width move their text to the heap, and one far beyond.
constexpr std::size_t border_sizes[] = {0, 1, 3, 4, 7, 8, 15, 16, std::size_t{1} << 20};

// A text of this size whose units differ by position.
inline std::wstring counted(std::size_t size)
{
    std::wstring text(size, L'\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<wchar_t>(L'a' + i % 23);
    return text;
}

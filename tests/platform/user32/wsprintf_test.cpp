// The user interface's print functions: their limit, and what they don't know of formats.
// fuzz/format_fuzz.cpp checks those with a va_list with every format.
#include <cstdarg>

#include "support/test.h"

#include <tchar.h>

#include "support/wide_text.h"

TEST(Wsprintf, CutsWhatIsBeyondTheLimitAndTerminates)
{
    wchar_t text[1200];
    wmemset(text, L'#', 1200);
    EXPECT_EQ(wsprintfW(text, L"%u%s", 7u, test::Wide(1023, L'x').c_str()), 1023);
    EXPECT_EQ(wcslen(text), 1023u);
    EXPECT_EQ(text[0], L'7');
    EXPECT_EQ(text[1024], L'#');
}

std::string by_list(const wchar_t* format, ...)
{
    wchar_t text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = wvsprintfW(text, format, arguments);
    va_end(arguments);
    return test::utf8(text).substr(0, static_cast<size_t>(length));
}

std::string by_list(const char* format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = wvsprintfA(text, format, arguments);
    va_end(arguments);
    return std::string(text).substr(0, static_cast<size_t>(length));
}

// What has no meaning is text, and takes no argument: the number after it is the first one's.
TEST(Wsprintf, ShowsWhatItDoesNotKnowAsText)
{
    static constexpr std::pair<const wchar_t*, const char*> rows[] = {
        {L"%lld|%d", "ld|7"},         {L"%*d|%d", "*d|7"},      {L"%.*s|%d", "*s|7"},
        {L"%f%e%G|%d", "feG|7"},      {L"%+d% d|%d", "+d d|7"}, {L"%o%n%zu|%d", "onzu|7"},
        {L"%hhd|%d", "hd|7"},         {L"%d%%%d", "7%8"},       {L"%-4u|%04x|%#X", "7   |0008|0X9"},
        {L"%.3i|%5.2ld", "007|   08"}};
    for (const auto& [format, expected] : rows)
    {
        wchar_t text[1024];
        wsprintfW(text, format, 7, 8, 9);
        EXPECT_EQ(test::utf8(text), expected);
        EXPECT_EQ(by_list(format, 7, 8, 9), expected);
        EXPECT_EQ(by_list(test::utf8(format).c_str(), 7, 8, 9), expected);
    }
}

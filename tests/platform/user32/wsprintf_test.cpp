// The user interface's print functions: their limit, and formats that they don't have.
// fuzz/format_fuzz.cpp checks the limit of those with a va_list for every format.
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

// A directive without a meaning is text and takes no argument: the number belongs to the next
// directive.
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
    }
}

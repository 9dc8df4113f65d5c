// The user interface's print functions differ from the runtime's in their limit alone.
#include <cstdarg>

#include "support/test.h"

#include <tchar.h>

#include "support/wide_text.h"

namespace
{

constexpr int most_characters = 1023; // and the terminator

template <class Char>
int print(int (*function)(Char*, const Char*, va_list), Char* buffer, const Char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = function(buffer, format, arguments);
    va_end(arguments);
    return length;
}

TEST(Wsprintf, CutsWhatIsBeyondTheLimitAndTerminates)
{
    wchar_t wide[1200];
    char narrow[1200];
    EXPECT_EQ(wsprintfW(wide, L"%04u-%02u %s|%hs|%S", 2024u, 7u, L"w", "h", "S"), 13);
    EXPECT_EQ(test::utf8(wide), "2024-07 w|h|S");
    const test::Wide long_text(5000, L'x');
    for (const int length : {most_characters, most_characters + 1, 5000})
    {
        wmemset(wide, L'#', 1200);
        EXPECT_EQ(print(wvsprintfW, wide, L"%.*s", length, long_text.c_str()), most_characters);
        EXPECT_EQ(wcslen(wide), size_t{most_characters});
        EXPECT_EQ(wide[most_characters + 1], L'#');
        std::memset(narrow, '#', sizeof narrow);
        EXPECT_EQ(print(wvsprintfA, narrow, "%.*ls", length, long_text.c_str()), most_characters);
        EXPECT_EQ(std::strlen(narrow), size_t{most_characters});
        EXPECT_EQ(narrow[most_characters + 1], '#');
    }
}

} // namespace

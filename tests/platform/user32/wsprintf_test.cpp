// The user interface's print functions differ from the runtime's in their limit alone. That of
// those with a va_list is checked with every format by fuzz/format_fuzz.cpp.
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

// The print functions that always terminate, at the borders of the buffer.
#include "support/test.h"

#include <strsafe.h>
#include <tchar.h>

#include "support/wide_text.h"

namespace
{

int cut(wchar_t* buffer, size_t size, size_t count, ...)
{
    va_list arguments;
    va_start(arguments, count);
    const int result = _vsnwprintf_s(buffer, size, count, L"%s", arguments);
    va_end(arguments);
    return result;
}

} // namespace

TEST(PrintSecure, ATextIsCutOnlyWhereTheCallerSaysSo)
{
    const struct
    {
        size_t size, count;
        const wchar_t* text;
        int result;
        const char* left;
        int error;
    } rows[] = {{4, _TRUNCATE, L"abc", 3, "abc", 0},
                {4, _TRUNCATE, L"abcd", -1, "abc", 0},
                {1, _TRUNCATE, L"a", -1, "", 0},
                {4, 2, L"ab", 2, "ab", 0},
                {4, 2, L"abc", -1, "ab", 0},
                {4, 4, L"abc", 3, "abc", 0},
                {4, 4, L"abcd", -1, "", ERANGE},
                {4, 9, L"abcd", -1, "", ERANGE},
                {4, 0, L"a", -1, "", 0}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        wchar_t buffer[5] = L"####";
        errno = 0;
        EXPECT_EQ(cut(buffer, row.size, row.count, row.text), row.result);
        EXPECT_EQ(test::utf8(buffer), row.left);
        EXPECT_EQ(errno, row.error);
        EXPECT_EQ(buffer[4], L'\0');
    }
    wchar_t buffer[4] = L"###";
    EXPECT_EQ(swprintf_s(buffer, L"%d%s", 1, L"ab"), 3);
    EXPECT_EQ(swprintf_s(buffer, 4, L"%d%s", 1, L"abc"), -1);
    EXPECT_EQ(test::utf8(buffer), "");
    EXPECT_EQ(std::pair(swprintf_s(buffer, 0, L"x"), errno), std::pair(-1, EINVAL));
    EXPECT_EQ(swprintf_s(nullptr, 4, L"x"), -1);
    EXPECT_EQ(swprintf_s(buffer, 4, nullptr), -1);
}

TEST(PrintSecure, StringCchPrintfCutsAndSaysSo)
{
    wchar_t buffer[4] = L"###";
    EXPECT_EQ(StringCchPrintfW(buffer, 4, L"%s", L"abc"), S_OK);
    EXPECT_EQ(test::utf8(buffer), "abc");
    EXPECT_EQ(StringCchPrintfW(buffer, 4, L"%s", L"defg"), STRSAFE_E_INSUFFICIENT_BUFFER);
    EXPECT_EQ(test::utf8(buffer), "def");
    for (const size_t size : {size_t{0}, size_t{STRSAFE_MAX_CCH} + 1})
        EXPECT_EQ(StringCchPrintfW(buffer, size, L"x"), STRSAFE_E_INVALID_PARAMETER);
    EXPECT_EQ(test::utf8(buffer), "def");
    EXPECT_EQ(StringCchPrintfW(nullptr, 4, L"x"), STRSAFE_E_INVALID_PARAMETER);
}

// Conversion by code page: lengths, terminators, refusals. (Which bytes become which characters is
// the business of the text tests of the runtime.)
#include <gtest/gtest.h>

#include <windows.h>

#include "support/handles.h"
#include "support/wide_text.h"

namespace
{

using test::error_of;

int narrow(const wchar_t* text, int length, char* out, int size, UINT codePage = CP_ACP)
{
    return WideCharToMultiByte(codePage, 0, text, length, out, size, nullptr, nullptr);
}

int widen(const char* text, int length, wchar_t* out, int size, DWORD flags = 0,
          UINT codePage = CP_UTF8)
{
    return MultiByteToWideChar(codePage, flags, text, length, out, size);
}

TEST(CodePage, LengthOfMinusOneTakesTheTerminatorAlongAndALengthIsTakenAsGiven)
{
    char bytes[64] = "#######";
    wchar_t wide[64] = L"###";
    EXPECT_EQ(narrow(L"abc", 2, bytes, 8), 2);
    EXPECT_STREQ(bytes, "ab#####") << "no terminator is added";
    EXPECT_EQ(widen("a\0b", 3, wide, 4), 3) << "a zero within is a character";
    EXPECT_EQ(wide[2], L'b');
    // ASCII takes a way of its own, which must hand over to the other at any place.
    for (size_t lead = 0; lead < 12; ++lead)
    {
        const std::string text = std::string(lead, 'x') + "\u00E4" + std::string(lead, 'y');
        const int units = widen(text.c_str(), -1, nullptr, 0);
        EXPECT_EQ(units, static_cast<int>(2 * lead + 2));
        EXPECT_EQ(widen(text.c_str(), -1, wide, units), units);
        const int size = narrow(wide, -1, nullptr, 0);
        EXPECT_EQ(narrow(wide, units, bytes, size), size);
        EXPECT_EQ(std::string(bytes, static_cast<size_t>(size)), text + '\0');
    }
}

TEST(CodePage, WrongArgumentsAndSmallBuffersAreRefused)
{
    char bytes[8] = "###";
    wchar_t wide[8] = {L'#', L'#'};
    EXPECT_EQ(error_of(narrow(L"abc", -1, bytes, 3)), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(bytes[3], '\0') << "nothing behind the size is touched";
    EXPECT_EQ(error_of(widen("a\U0001F600", 5, wide, 2)), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(wide[1], L'#') << "half a character is not stored";
    EXPECT_EQ(error_of(narrow(nullptr, -1, bytes, 8)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(narrow(L"a", 0, bytes, 8)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(narrow(L"a", -1, nullptr, 8)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(narrow(L"a", -1, bytes, -1)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(narrow(L"a", -1, bytes, 8, 1252)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(error_of(widen("a", -2, wide, 8)), ERROR_INVALID_PARAMETER);
}

TEST(CodePage, BadBytesAreReplacedUnlessTheCallerWantsToKnow)
{
    wchar_t wide[8];
    EXPECT_EQ(widen("a\xFF", -1, wide, 8), 3);
    EXPECT_EQ(test::utf8(wide), "a\uFFFD");
    EXPECT_EQ(error_of(widen("a\xFF", -1, wide, 8, MB_ERR_INVALID_CHARS)),
              ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_EQ(widen("a\uFFFD", -1, wide, 8, MB_ERR_INVALID_CHARS), 3)
        << "the replacement character itself is good";
}

} // namespace

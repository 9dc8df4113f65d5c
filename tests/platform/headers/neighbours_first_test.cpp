// The headers of pcsc-lite and unixODBC before <windows.h>.
#include <sqlext.h>
#include <winscard.h>

#include <windows.h>

#include <gtest/gtest.h>

static_assert(sizeof(SQLWCHAR) == sizeof(wchar_t) && sizeof(SQLINTEGER) == sizeof(LONG));
static_assert(sizeof(((SCARD_READERSTATE*)nullptr)->dwEventState) == sizeof(PCSC_DWORD));

TEST(NeighboursFirst, TheTypesAreStillThoseOfTheInterface)
{
    SQLHWND window = HWND{};
    EXPECT_EQ(window, nullptr);
    EXPECT_EQ(sizeof(DWORD), 4u);
    EXPECT_EQ(sizeof(ULONG), 4u);
    EXPECT_EQ(sizeof(BOOL), 4u);
}

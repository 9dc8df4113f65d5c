// The headers of pcsc-lite and unixODBC after <windows.h>, and names that other libraries use, too.
#include <windows.h>

#include <odbcinst.h>
#include <sql.h>
#include <sqlucode.h>
#include <winscard.h>

#include <gtest/gtest.h>

namespace
{

enum class Method
{
    DELETE,
    NO_ERROR,
    SYNCHRONIZE,
    READ_CONTROL
};

// The numbers that the library writes have 64 bits.
using Connect = LONG (*)(SCARDCONTEXT, LPCSTR, PCSC_DWORD, PCSC_DWORD, SCARDHANDLE*, PCSC_DWORD*);
static_assert(std::is_same_v<Connect, decltype(&SCardConnect)>);
static_assert(sizeof(SCARDHANDLE) == 8 && sizeof(PCSC_DWORD) == 8);

} // namespace

TEST(WindowsFirst, ResultsAndSizesOfTheNeighboursAreTheirOwn)
{
    // The library returns 64 bits; this is their lower half.
    const auto result = static_cast<LONG>(uint64_t{0x8010000A});
    EXPECT_EQ(result, SCARD_E_TIMEOUT);
    EXPECT_EQ(SCARD_AUTOALLOCATE, UINT64_MAX);
    EXPECT_EQ(INFINITE, 0xFFFFFFFFu);
}

TEST(WindowsFirst, CommonWordsAreNoMacros)
{
    EXPECT_EQ(static_cast<int>(Method::DELETE), 0);
    EXPECT_EQ(DELETE | READ_CONTROL | SYNCHRONIZE, 0x00130000u);
    EXPECT_EQ(DWORD{NO_ERROR}, DWORD{ERROR_SUCCESS});
}

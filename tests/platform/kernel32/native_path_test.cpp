#include "plinth_platform.h"

#include <string>

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

TEST(NativePath, GivesTheFormForPeopleAndItsLength)
{
    char buffer[64];
    EXPECT_EQ(PlinthNativePath(L"C:\\var\\log/x.log", buffer, sizeof buffer), 14u);
    EXPECT_STREQ(buffer, "/var/log/x.log");
    EXPECT_EQ(PlinthNativePath(L"C:\\\u00e9", buffer, sizeof buffer), 3u);
    EXPECT_STREQ(buffer, "/\xc3\xa9");
}

TEST(NativePath, RefusesWhatHasNoNativeFormOrNoRoom)
{
    char buffer[8] = "before";
    EXPECT_EQ(PlinthNativePath(L"", buffer, sizeof buffer), 0u);
    EXPECT_EQ(PlinthNativePath(nullptr, buffer, sizeof buffer), 0u);
    EXPECT_EQ(PlinthNativePath(L"C:\\1234567", buffer, sizeof buffer), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(PlinthNativePath(L"C:\\123456", nullptr, 0), 0u);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(PlinthNativePath(L"C:\\123456", buffer, sizeof buffer), 7u);
}

} // namespace

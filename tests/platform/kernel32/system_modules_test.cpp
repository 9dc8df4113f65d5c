// The system's modules by name.
#include <gtest/gtest.h>

#include "support/wide_text.h"

namespace
{

TEST(SystemModules, AreFoundWithoutRegardToCaseAndExtension)
{
    const HMODULE found = GetModuleHandleW(L"advapi32.dll");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"ADVAPI32.DLL"), found);
    EXPECT_EQ(GetModuleHandleW(L"AdvApi32"), found);
    EXPECT_EQ(LoadLibraryW(L"ADVAPI32.DLL"), found);
    EXPECT_TRUE(FreeLibrary(found));
    EXPECT_NE(GetModuleHandleW(L"User32.dll"), found);
    EXPECT_EQ(GetModuleHandleW(L"BUGSLAYERUTIL.DLL"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(GetModuleHandleW(L"C:\\tmp\\advapi32.dll"), nullptr) << "somebody else's file";
}

TEST(SystemModules, GiveTheFunctionsThatAreLinkedIn)
{
    const HMODULE module = GetModuleHandleW(L"advapi32.dll");
    EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(module, "GetUserNameW")),
              reinterpret_cast<void*>(&GetUserNameW));
    EXPECT_EQ(GetProcAddress(module, "getusernamew"), nullptr) << "function names have their case";
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
    EXPECT_EQ(GetProcAddress(module, nullptr), nullptr);
    EXPECT_EQ(GetProcAddress(nullptr, "GetUserNameW"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(SystemModules, TheProgramHasAHandle)
{
    const HMODULE program = GetModuleHandleW(nullptr);
    ASSERT_NE(program, nullptr);
    wchar_t named[512], unnamed[512];
    ASSERT_NE(GetModuleFileNameW(program, named, 512), 0u);
    ASSERT_NE(GetModuleFileNameW(nullptr, unnamed, 512), 0u);
    EXPECT_EQ(test::utf8(named), test::utf8(unnamed));
}

} // namespace

// Loading modules and finding their symbols.
#include <gtest/gtest.h>

#include "support/files.h"
#include "support/modules.h"
#include "support/wide_text.h"

using test::Wide;

namespace
{

// As an application names it, with forward slashes.
Wide plugin_path()
{
    return Wide(test::module_path("plugin.dll"));
}

TEST(DynLib, LoadsAModuleByTheNameThatApplicationsGiveItAndFindsItsSymbols)
{
    __qv_hmodule* const module = QV_LoadLibrary(plugin_path());
    ASSERT_NE(module, nullptr);
    auto* const answer = reinterpret_cast<int (*)()>(QV_GetSymbol(module, "plugin_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(*static_cast<int*>(QV_GetSymbol(module, "plugin_value")), 7);
    for (const char* const name : {"plugin_nothing", static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(QV_GetSymbol(module, name), nullptr);

    wchar_t path[512];
    EXPECT_EQ(QV_GetModuleFileName(module, path, 512), QV_OK);
    EXPECT_NE(test::utf8(path).find("plugin"), std::string::npos);
    EXPECT_EQ(QV_LoadLibrary(plugin_path()), module);
    EXPECT_EQ(QV_UnloadLibrary(module), QV_OK);
    EXPECT_NE(QV_GetSymbol(module, "plugin_answer"), nullptr) << "one load still holds it";
    EXPECT_EQ(QV_UnloadLibrary(module), QV_OK);
    EXPECT_EQ(QV_UnloadLibrary(module), QV_ERR_SYSTEM) << "it is gone";
}

TEST(DynLib, WhatIsNoModuleIsRefused)
{
    for (const wchar_t* const path : {static_cast<const wchar_t*>(nullptr), L""})
        EXPECT_EQ(QV_LoadLibrary(path), nullptr);
    EXPECT_EQ(QV_LoadLibrary(L"C:/no/such/module.dll"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND) << "stays readable behind the trace";
    EXPECT_EQ(QV_UnloadLibrary(nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetSymbol(nullptr, "name"), nullptr);
}

TEST(DynLib, TheTraceShowsTheNameThatTheCallerGave)
{
    QV_LoadLibrary(L"a/b/c.dll");
    QV_UnloadLibrary(QV_LoadLibrary(plugin_path()));
    const std::string log = test::read_file(test::native_form(CQvLogFile::GetLogFilename()));
    for (const std::string& line :
         {std::string("a/b/c.dll\") : Failed"), plugin_path().utf8() + "\") : OK"})
        EXPECT_NE(log.find("QV_LoadLibrary(\"" + line + "\r\n"), std::string::npos) << log;
}

} // namespace

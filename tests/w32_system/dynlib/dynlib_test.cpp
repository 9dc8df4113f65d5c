// Loading modules and finding their symbols; sections and patch numbers of module files, good and
// damaged.
#include "support/test.h"

#include "support/files.h"
#include "support/modules.h"

using test::PePlaces;

namespace
{

TEST(DynLib, LoadsAModuleByTheNameThatApplicationsGiveItAndFindsItsSymbols)
{
    const test::Wide path(test::module_path("plugin.dll")); // with forward slashes
    __qv_hmodule* const module = QV_LoadLibrary(path);
    ASSERT_NE(module, nullptr);
    auto* const answer = reinterpret_cast<int (*)()>(QV_GetSymbol(module, "plugin_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(*static_cast<int*>(QV_GetSymbol(module, "plugin_value")), 7);
    for (const char* const name : {"plugin_nothing", static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(QV_GetSymbol(module, name), nullptr);

    wchar_t found[512];
    EXPECT_EQ(QV_GetModuleFileName(module, found, 512), QV_OK);
    EXPECT_NE(test::utf8(found).find("plugin"), std::string::npos);
    EXPECT_EQ(QV_LoadLibrary(path), module);
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

constexpr const char* refused = "refused";

class ModuleFiles : public testing::Test
{
protected:
    // The bytes of a section, or the status if there are none.
    static std::string section(const std::string& native, const char* name)
    {
        int status = 0;
        void* data = &status; // the call must overwrite it
        uint32_t size = 77;
        status = QV_GetDataSeg(test::windows_form(native), name, &data, &size);
        EXPECT_EQ(status == QV_OK, data != nullptr);
        const std::string bytes(static_cast<char*>(data), data ? size : 0);
        EXPECT_TRUE(data || size == 0) << size;
        EXPECT_EQ(QV_FreeDataSeg(&data), QV_OK);
        EXPECT_EQ(data, nullptr);
        return status == QV_OK           ? bytes
               : status == QV_ERR_SYSTEM ? refused
                                         : "status " + std::to_string(status);
    }
    // The section of a file with these bytes.
    std::string section_of(const std::string& bytes, const char* name = ".text") const
    {
        test::write_file(m_folder + "/module", bytes);
        return section(m_folder + "/module", name);
    }
    const std::string m_folder = test::make_folder("modules");
    const std::string m_good = test::read_file(test::module_path("module64.dll"));
    const uint32_t m_size = static_cast<uint32_t>(m_good.size());
};

TEST_F(ModuleFiles, SectionsOfBothWidthsComeAsTheyLieInTheFile)
{
    for (const std::string name : {"module64.dll", "module32.dll"})
    {
        std::string file = test::read_file(test::module_path(name));
        const PePlaces places(file);
        // With more sections than the file has, the search stops at the end of the table.
        test::set_number<uint16_t>(file, places.header + 6, 0xFFFF);
        for (const char* const each : {".text", ".reloc", ".SEGMENT", ".segmenu"})
        {
            const size_t entry =
                places.entry(file, each == std::string(".SEGMENT") ? ".segment" : each);
            ASSERT_NE(entry, 0u);
            EXPECT_EQ(section_of(file, each),
                      file.substr(test::number_at<uint32_t>(file, entry + 20),
                                  test::number_at<uint32_t>(file, entry + 16)))
                << name << each;
        }
        for (const char* const each : {".segmen", ".segment.segmenu", ".none"})
            EXPECT_EQ(section_of(file, each), refused) << name << each;
    }
}

TEST_F(ModuleFiles, WhatIsNoModuleFileHasItsStatus)
{
    const std::string missing = "status " + std::to_string(QV_ERR_NOFILE);
    EXPECT_EQ(section(m_folder + "/missing", ".text"), missing);
    EXPECT_EQ(section_of("just a text, longer than the headers of old: 0123456789"), refused);
    void* data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", ".text", nullptr, &size), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", nullptr, &data, &size), QV_ERR_NULLPTR);
}

TEST_F(ModuleFiles, AFileThatIsCutWithinItsHeadersOrHasThemElsewhereHasNoSections)
{
    const PePlaces places(m_good);
    for (size_t length = 1; length < places.table + places.sections * 40; ++length)
        ASSERT_EQ(section_of(m_good.substr(0, length), ".reloc"), refused) << length;
    std::string file = m_good;
    for (const uint32_t offset : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, m_size, m_size - 4, 0u})
    {
        test::set_number(file, 60, offset);
        EXPECT_EQ(section_of(file), refused) << offset;
    }
}

TEST_F(ModuleFiles, ASectionThatIsNotAllInTheFileIsRefused)
{
    const size_t place = PePlaces(m_good).entry(m_good, ".text") + 16;
    const auto with = [&](uint32_t size, uint32_t offset)
    {
        std::string file = m_good;
        test::set_number(file, place, size);
        test::set_number(file, place + 4, offset);
        return section_of(file);
    };
    for (const auto& [size, offset] : {std::pair{512u, m_size - 511},
                                       {0xFFFFF000u, 0x1000u},
                                       {0x80000000u, 0x80000000u},
                                       {m_size + 1, 0u}})
        EXPECT_EQ(with(size, offset), refused) << size << " at " << offset;
    EXPECT_EQ(with(m_size, 0).size(), m_size) << "all of the file is not too much";
    EXPECT_EQ(with(0, 0xFFFFFFFF), "") << "nothing lies anywhere";
}

TEST_F(ModuleFiles, ThePatchNumberIsTheFirstFourBytesOfItsValue)
{
    const auto number = [](const char* name)
    { return QV_GetModulePatchNumber(test::windows_form(test::module_path(name))); };
    for (const char* const name : {"module64.dll", "module32.dll", "compiled64.exe"})
        EXPECT_EQ(number(name), '4' | '2' << 16) << name; // the value is the text "42"
    EXPECT_EQ(number("plain64.dll"), 0u);
}

} // namespace

// Sections and patch numbers of module files, good ones and bad ones.
#include <gtest/gtest.h>

#include "support/files.h"
#include "support/modules.h"

using test::PePlaces;

namespace
{

constexpr const char* refused = "refused";

class ModuleFiles : public testing::Test
{
protected:
    // A section's bytes; the status where there are none.
    static std::string section(const std::string& native, const char* name)
    {
        int status = 0;
        void* data = &status; // what the call has to overwrite
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
    // That of a file with these bytes.
    std::string section_of(const std::string& bytes, const char* name = ".text") const
    {
        test::write_file(m_folder + "/module", bytes);
        return section(m_folder + "/module", name);
    }
    // That of the good module with numbers at other places.
    std::string section_with(std::initializer_list<std::pair<size_t, uint32_t>> numbers) const
    {
        std::string file = m_good;
        for (const auto& [place, number] : numbers)
            test::set_number(file, place, number);
        return section_of(file);
    }
    uint32_t patch_number(const std::string& name) const
    {
        return QV_GetModulePatchNumber(test::path_in(m_folder, name));
    }
    const std::string m_folder = test::make_folder("modules");
    const std::string m_good = test::read_file(test::module_path("module64.dll"));
    const uint32_t m_size = static_cast<uint32_t>(m_good.size());
};

TEST_F(ModuleFiles, SectionsOfBothWidthsComeAsTheyLieInTheFile)
{
    for (const std::string name : {"module64.dll", "module32.dll"})
    {
        const std::string file = test::read_file(test::module_path(name));
        for (const char* const each : {".text", ".rsrc", ".reloc", ".segment"})
        {
            const size_t entry = PePlaces(file).entry(file, each);
            ASSERT_NE(entry, 0u);
            EXPECT_EQ(section_of(file, each),
                      file.substr(test::number_at<uint32_t>(file, entry + 20),
                                  test::number_at<uint32_t>(file, entry + 16)))
                << name << each;
        }
    }
}

TEST_F(ModuleFiles, ANameHasNoCaseAndMayHaveEightLetters)
{
    EXPECT_EQ(section_of(m_good, ".TEXT"), section_of(m_good, ".text"));
    EXPECT_EQ(section_of(m_good, ".SEGMENT").substr(0, 26), "the content of the section");
    EXPECT_EQ(section_of(m_good, ".segmenu").substr(0, 15), "another content");
    for (const char* const name : {".segmen", ".segment.segmenu", ".none", ""})
        EXPECT_EQ(section_of(m_good, name), refused) << name;
}

TEST_F(ModuleFiles, WhatIsNoModuleFileHasItsStatus)
{
    const std::string missing = "status " + std::to_string(QV_ERR_NOFILE);
    EXPECT_EQ(section(m_folder + "/missing", ".text"), missing);
    EXPECT_EQ(section(m_folder, ".text"), missing) << "a folder does not open";
    EXPECT_EQ(section_of("just a text, longer than the headers of old: 0123456789"), refused);
    EXPECT_EQ(section_of(""), refused);
    void* data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", ".text", nullptr, &size), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", ".text", &data, nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", nullptr, &data, &size), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_FreeDataSeg(nullptr), QV_OK);
}

TEST_F(ModuleFiles, AFileThatIsCutWithinItsHeadersOrHasThemElsewhereHasNoSections)
{
    const PePlaces places(m_good);
    for (size_t length = 1; length < places.table + places.sections * 40; ++length)
        ASSERT_EQ(section_of(m_good.substr(0, length), ".reloc"), refused) << length;
    for (const uint32_t offset :
         {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, m_size, m_size - 1, m_size - 4, 0u})
        EXPECT_EQ(section_with({{60, offset}}), refused) << offset;
}

TEST_F(ModuleFiles, ASectionThatIsNotAllInTheFileIsRefused)
{
    const size_t size_place = PePlaces(m_good).entry(m_good, ".text") + 16;
    const size_t offset_place = size_place + 4;
    for (const auto& [size, offset] : {std::pair{512u, m_size - 511},
                                       {0xFFFFF000u, 0x1000u},
                                       {0x80000000u, 0x80000000u},
                                       {1u, 0xFFFFFFFFu},
                                       {m_size + 1, 0u}})
        EXPECT_EQ(section_with({{size_place, size}, {offset_place, offset}}), refused)
            << size << " at " << offset;
    EXPECT_EQ(section_with({{size_place, m_size}, {offset_place, 0}}).size(), m_size)
        << "all of the file is not too much";
    EXPECT_EQ(section_with({{size_place, 0}, {offset_place, 0xFFFFFFFF}}), "")
        << "nothing lies anywhere";
}

TEST_F(ModuleFiles, MoreSectionsThanThereAreIsTheEndOfTheTable)
{
    std::string file = m_good;
    test::set_number<uint16_t>(file, PePlaces(file).header + 6, 0xFFFF);
    EXPECT_EQ(section_of(file, ".reloc"), section_of(m_good, ".reloc"));
    EXPECT_EQ(section_of(file, ".none"), refused);
}

TEST_F(ModuleFiles, ThePatchNumberIsTheFirstFourBytesOfItsValue)
{
    test::write_file(m_folder + "/text", "text");
    test::copy_module(m_folder, "plain64.dll");
    for (const char* const name : {"plain64.dll", "missing", "text"})
        EXPECT_EQ(patch_number(name), 0u) << name;
    for (const char* const name : {"module64.dll", "module32.dll", "compiled64.exe"})
    {
        test::copy_module(m_folder, name);
        EXPECT_EQ(patch_number(name), '4' | '2' << 16) << name; // the value is the text "42"
    }
}

} // namespace

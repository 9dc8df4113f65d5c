// Sections and patch numbers of module files, good ones and bad ones.
#include <gtest/gtest.h>

#include "support/files.h"
#include "support/modules.h"

using test::PePlaces;
using test::Wide;

namespace
{

// A section as the library gives it; the status is kept.
struct Section
{
    Section(const std::string& native, const char* name)
    {
        void* data = &status; // what the call has to overwrite
        uint32_t size = 77;
        status = QV_GetDataSeg(test::windows_form(native), name, &data, &size);
        given = data != nullptr;
        if (data)
            bytes.assign(static_cast<char*>(data), size);
        else
            EXPECT_EQ(size, 0u);
        EXPECT_EQ(QV_FreeDataSeg(&data), QV_OK);
        EXPECT_EQ(data, nullptr);
    }
    int status;
    bool given;
    std::string bytes;
};

class ModuleFiles : public testing::Test
{
protected:
    // A copy of a module's bytes under another name.
    std::string with(const std::string& bytes) const
    {
        test::write_file(m_folder + "/module", bytes);
        return m_folder + "/module";
    }
    std::string m_folder = test::make_folder("modules");
    const std::string m_good = test::read_file(test::module_path("module64.dll"));
};

TEST_F(ModuleFiles, SectionsOfBothWidthsComeAsTheyLieInTheFile)
{
    for (const std::string name : {"module64.dll", "module32.dll"})
    {
        const std::string file = test::read_file(test::module_path(name));
        const PePlaces places(file);
        for (const char* const section : {".text", ".rsrc", ".reloc", ".segment"})
        {
            const size_t entry = places.entry(file, section);
            ASSERT_NE(entry, 0u);
            const Section found(test::copy_module(m_folder, name), section);
            EXPECT_EQ(found.status, QV_OK);
            EXPECT_EQ(found.bytes, file.substr(test::number_at<uint32_t>(file, entry + 20),
                                               test::number_at<uint32_t>(file, entry + 16)))
                << name << section;
        }
    }
}

TEST_F(ModuleFiles, ANameHasNoCaseAndMayHaveEightLetters)
{
    const std::string path = with(m_good);
    EXPECT_EQ(Section(path, ".TEXT").bytes, Section(path, ".text").bytes);
    EXPECT_EQ(Section(path, ".SEGMENT").bytes.substr(0, 26), "the content of the section");
    EXPECT_EQ(Section(path, ".segmenu").bytes.substr(0, 15), "another content");
    for (const char* const name : {".segmen", ".segment.segmenu", ".none", ""})
        EXPECT_EQ(Section(path, name).status, QV_ERR_SYSTEM) << name;
}

TEST_F(ModuleFiles, WhatIsNoModuleFileHasItsStatus)
{
    EXPECT_EQ(Section(m_folder + "/missing", ".text").status, QV_ERR_NOFILE);
    EXPECT_EQ(
        Section(with("just a text, longer than the headers of old: 0123456789"), ".text").status,
        QV_ERR_SYSTEM);
    EXPECT_EQ(Section(with(""), ".text").status, QV_ERR_SYSTEM);
    EXPECT_EQ(Section(m_folder, ".text").status, QV_ERR_NOFILE) << "a folder does not open";
    void* data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", ".text", nullptr, &size), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", ".text", &data, nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_GetDataSeg(L"C:\\x", nullptr, &data, &size), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_FreeDataSeg(nullptr), QV_OK);
}

TEST_F(ModuleFiles, AFileThatIsCutWithinItsHeadersHasNoSections)
{
    const PePlaces places(m_good);
    const size_t end = places.table + places.sections * 40;
    for (size_t length = 1; length < end; ++length)
    {
        const Section found(with(m_good.substr(0, length)), ".reloc");
        ASSERT_EQ(found.status, QV_ERR_SYSTEM) << length;
    }
}

TEST_F(ModuleFiles, AHeaderOutsideTheFileIsNone)
{
    for (const uint32_t offset :
         {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, static_cast<uint32_t>(m_good.size()),
          static_cast<uint32_t>(m_good.size() - 1), static_cast<uint32_t>(m_good.size() - 4), 0u})
    {
        std::string file = m_good;
        test::set_number(file, 60, offset);
        EXPECT_EQ(Section(with(file), ".text").status, QV_ERR_SYSTEM) << offset;
    }
}

TEST_F(ModuleFiles, ASectionThatIsNotAllInTheFileIsRefused)
{
    const size_t entry = PePlaces(m_good).entry(m_good, ".text");
    for (const auto& [size, offset] : {std::pair{512u, static_cast<uint32_t>(m_good.size() - 511)},
                                       {0xFFFFF000u, 0x1000u},
                                       {0x80000000u, 0x80000000u},
                                       {1u, 0xFFFFFFFFu},
                                       {static_cast<uint32_t>(m_good.size() + 1), 0u}})
    {
        std::string file = m_good;
        test::set_number(file, entry + 16, size);
        test::set_number(file, entry + 20, offset);
        EXPECT_EQ(Section(with(file), ".text").status, QV_ERR_SYSTEM) << size << " at " << offset;
    }
    std::string file = m_good;
    test::set_number(file, entry + 16, static_cast<uint32_t>(m_good.size()));
    test::set_number(file, entry + 20, 0u);
    EXPECT_EQ(Section(with(file), ".text").bytes, file) << "all of the file is not too much";
    test::set_number(file, entry + 16, 0u);
    test::set_number(file, entry + 20, 0xFFFFFFFFu);
    const Section empty(with(file), ".text");
    EXPECT_EQ(empty.status, QV_OK);
    EXPECT_TRUE(empty.given && empty.bytes.empty()) << "nothing lies anywhere";
}

TEST_F(ModuleFiles, MoreSectionsThanThereAreIsTheEndOfTheTable)
{
    std::string file = m_good;
    test::set_number<uint16_t>(file, PePlaces(file).header + 6, 0xFFFF);
    EXPECT_EQ(Section(with(file), ".reloc").status, QV_OK) << "those that are there are found";
    EXPECT_EQ(Section(with(file), ".none").status, QV_ERR_SYSTEM);
}

TEST_F(ModuleFiles, ThePatchNumberIsTheFirstFourBytesOfItsValue)
{
    // The value is the text "42".
    const uint32_t number = '4' | '2' << 16;
    for (const char* const name : {"module64.dll", "module32.dll", "compiled64.exe"})
        EXPECT_EQ(QV_GetModulePatchNumber(test::windows_form(test::copy_module(m_folder, name))),
                  number)
            << name;
    EXPECT_EQ(
        QV_GetModulePatchNumber(test::windows_form(test::copy_module(m_folder, "plain64.dll"))),
        0u);
    EXPECT_EQ(QV_GetModulePatchNumber(test::windows_form(m_folder + "/missing")), 0u);
    EXPECT_EQ(QV_GetModulePatchNumber(test::windows_form(with("text"))), 0u);
}

} // namespace

// Data files into modules and out of them, and loading what is there.
#include <filesystem>

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/modules.h"

using test::Wide;

namespace
{

class Resources : public testing::Test
{
protected:
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    Wide copied(const std::string& name) const
    {
        return test::windows_form(test::copy_module(m_folder, name));
    }
    void write(const std::string& name, const std::string& bytes) const
    {
        test::write_file(m_folder + "/" + name, bytes);
    }
    std::string read(const std::string& name) const
    {
        return test::read_file(m_folder + "/" + name);
    }
    static std::string failure()
    {
        return QV_GetResCopyError() ? test::utf8(QV_GetResCopyError()) : "none";
    }
    std::string m_folder = test::make_folder("resources");
};

TEST_F(Resources, WhatIsStoredComesOutAgain)
{
    const std::string bytes = []
    {
        std::string all;
        for (int i = 0; i < 100'000; ++i)
            all.push_back(static_cast<char>(i * 7));
        return all;
    }();
    write("data", bytes);
    write("empty", "");
    for (const char* const name :
         {"plain64.dll", "module64.dll", "program64.exe", "overlay64.exe", "compiled64.exe",
          "plain32.dll", "module32.dll", "program32.exe", "overlay32.exe"})
    {
        const Wide module = copied(name);
        ASSERT_EQ(QV_ResourceToDll(L"Stored", module, path("data")), QV_OK) << name << failure();
        ASSERT_EQ(QV_ResourceToDll(L"Nothing", module, path("empty")), QV_OK) << name;
        write("out", "former content");
        EXPECT_EQ(QV_DllToResource(L"STORED", module, path("out")), QV_OK) << name << failure();
        EXPECT_TRUE(read("out") == bytes) << name;
        EXPECT_EQ(QV_DllToResource(L"nothing", module, path("out")), QV_OK) << name;
        EXPECT_EQ(read("out"), "");
    }
}

TEST_F(Resources, AResourceOfTheNameIsReplacedAndTheOthersStay)
{
    const Wide module = copied("module64.dll");
    write("data", "new");
    ASSERT_EQ(QV_ResourceToDll(L"alpha", module, path("data")), QV_OK);
    EXPECT_EQ(QV_DllToResource(L"Alpha", module, path("out")), QV_OK);
    EXPECT_EQ(read("out"), "new");
    EXPECT_EQ(QV_DllToResource(MAKEINTRESOURCEW(1033), module, path("out")), QV_OK);
    EXPECT_EQ(read("out"), "data of 0x409");
    EXPECT_NE(QV_GetModulePatchNumber(module), 0u);
}

TEST_F(Resources, EachFailureHasItsTextAndSuccessLeavesIt)
{
    EXPECT_EQ(QV_GetResCopyError(), nullptr);
    const Wide module = copied("module64.dll");
    write("text", "no module");
    write("data", "bytes");
    const std::string before = read("module64.dll");
    EXPECT_EQ(QV_ResourceToDll(L"X", path("missing"), path("data")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot load the dll file.");
    EXPECT_EQ(QV_ResourceToDll(L"X", module, path("missing")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot open the data file.");
    EXPECT_EQ(QV_ResourceToDll(L"X", module, nullptr), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_DllToResource(L"X", path("text"), path("out")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot load the dll file.");
    EXPECT_EQ(QV_DllToResource(L"Unknown", module, path("out")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot locate resource.");
    EXPECT_EQ(read("out"), "") << "the empty data file stays behind";
    EXPECT_EQ(QV_DllToResource(L"Greeting", module, path("out")), QV_ERR_SYSTEM)
        << "is there in other languages only";
    EXPECT_EQ(QV_DllToResource(L"Alpha", module, path("out")), QV_OK);
    EXPECT_EQ(failure(), "Cannot locate resource.");
    EXPECT_TRUE(read("module64.dll") == before);
}

TEST_F(Resources, AReadOnlyModuleStaysAsItIs)
{
    const Wide module = copied("module64.dll");
    write("data", "bytes");
    const std::string before = read("module64.dll");
    ASSERT_TRUE(SetFileAttributesW(module, FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(QV_ResourceToDll(L"X", module, path("data")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Updating resource failed.");
    EXPECT_TRUE(read("module64.dll") == before);
    SetFileAttributesW(module, FILE_ATTRIBUTE_NORMAL);
}

TEST_F(Resources, AModuleIsNotOverwrittenByItsOwnResource)
{
    const Wide module = copied("module64.dll");
    const std::string before = read("module64.dll");
    std::filesystem::create_hard_link(m_folder + "/module64.dll", m_folder + "/link");
    for (const Wide& data : {module, path("link")})
    {
        EXPECT_EQ(QV_DllToResource(L"Alpha", module, data), QV_ERR_SYSTEM) << data.utf8();
        EXPECT_EQ(failure(), "Cannot open the data file.");
    }
    EXPECT_TRUE(read("module64.dll") == before);
    EXPECT_EQ(QV_DllToResource(L"Alpha", module, path("out")), QV_OK);
}

TEST_F(Resources, AModuleCanHoldItsOwnFormerFile)
{
    const Wide module = copied("module64.dll");
    const std::string before = read("module64.dll");
    ASSERT_EQ(QV_ResourceToDll(L"Former", module, module), QV_OK) << failure();
    EXPECT_EQ(QV_DllToResource(L"Former", module, path("out")), QV_OK);
    EXPECT_TRUE(read("out") == before);
}

TEST_F(Resources, TheLanguageScanLoadsWhatThereIsInItsOrder)
{
    const Wide path = copied("module32.dll");
    CQvRscData data;
    data.AppendData("former", 6, 1);
    for (int round = 0; round < 2; ++round)
    {
        EXPECT_EQ(&QV_RCDATAToCQvRscData(data, path), &data);
        ASSERT_EQ(data.GetCQvByteArrayW32Count(), 3) << "what is not in the scan is not loaded";
        for (int i = 0; i < 3; ++i)
        {
            int id = 0;
            const CQvByteArrayW32& entry = data.GetCQvByteArrayW32(i, &id);
            const struct
            {
                int id;
                std::string text;
            } wanted[] = {
                {0x407, "data of 0x407"}, {0x409, "data of 0x409"}, {0x804, "data of 0x804"}};
            EXPECT_EQ(id, wanted[i].id);
            EXPECT_EQ(std::string(static_cast<const char*>(entry.GetData()), entry.GetSize()),
                      wanted[i].text);
        }
    }
}

TEST_F(Resources, TheLanguageScanKnowsItsLanguagesAndNoOthers)
{
    const Wide module = copied("plain64.dll");
    // The ends of the run, the two behind it, and neighbours that are not in it.
    for (const int id : {0xC0A, 0x804, 0x47F, 0x47E, 0x405, 0x400, 0x3FF, 0x809, 0xC0B})
    {
        write("data", std::to_string(id));
        ASSERT_EQ(QV_ResourceToDll(MAKEINTRESOURCEW(id), module, path("data")), QV_OK) << failure();
    }
    CQvRscData data;
    QV_RCDATAToCQvRscData(data, module);
    std::string found;
    for (int i = 0; i < data.GetCQvByteArrayW32Count(); ++i)
    {
        int id = 0;
        const CQvByteArrayW32& entry = data.GetCQvByteArrayW32(i, &id);
        EXPECT_EQ(std::string(static_cast<const char*>(entry.GetData()), entry.GetSize()),
                  std::to_string(id));
        found += std::to_string(id) + " ";
    }
    EXPECT_EQ(found, "1024 1029 1150 2052 3082 ");
}

TEST_F(Resources, OneResourceIsAppendedUnderTheIdThatIsAskedFor)
{
    const Wide path = copied("module64.dll");
    __qv_hmodule* const module = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    CQvRscData data;
    for (const int entry : {-1, 0, 0})
        EXPECT_EQ(&QV_RCDATAToCQvRscDataByID(data, module, 1033, entry), &data);
    QV_RCDATAToCQvRscDataByID(data, module, 999, -1); // there is none
    QV_RCDATAToCQvRscDataByID(data, path, 1031, 5);
    FreeLibrary(module);
    ASSERT_EQ(data.GetCQvByteArrayW32Count(), 4);
    for (const auto& [index, wanted] : {std::pair{0, 1033}, {1, 0}, {2, 0}, {3, 5}})
    {
        int id = -1;
        EXPECT_EQ(data.GetCQvByteArrayW32(index, &id).GetSize(), 13u);
        EXPECT_EQ(id, wanted);
    }
}

TEST_F(Resources, APathThatDoesNotLoadStandsForTheProgram)
{
    CQvRscData data;
    QV_RCDATAToCQvRscData(data, path("missing"));
    EXPECT_EQ(data.GetCQvByteArrayW32Count(), 0) << "this program has no resources";
}

} // namespace

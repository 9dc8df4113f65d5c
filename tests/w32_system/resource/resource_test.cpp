// Storing data files in modules and extracting them, loading resources, and the ownership of loaded
// data.

#include "support/test.h"

#include "support/files.h"
#include "support/modules.h"

using test::Wide;

namespace
{

// "ID:TEXT " for each entry.
std::string entries_of(const CQvRscData& data)
{
    std::string all;
    for (int i = 0; i < data.GetCQvByteArrayW32Count(); ++i)
    {
        int id = 0;
        const CQvByteArrayW32& entry = data.GetCQvByteArrayW32(i, &id);
        all += std::to_string(id) + ":";
        all.append(static_cast<const char*>(entry.GetData()), entry.GetSize()) += " ";
    }
    return all;
}

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
    // The content of a resource, or the text of the failure.
    std::string taken(const wchar_t* name, const wchar_t* module) const
    {
        const int status = QV_DllToResource(name, module, path("out"));
        return status == QV_OK ? read("out") : failure(status);
    }
    // "" for a success.
    static std::string failure(int status)
    {
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_SYSTEM) << status;
        return status == QV_OK ? "" : test::utf8(QV_GetResCopyError());
    }
    std::string m_folder = test::make_folder("resources");
};

TEST_F(Resources, WhatIsStoredComesOutAgainAndTheOthersStay)
{
    std::string bytes(100'000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7);
    write("data", bytes);
    write("empty", "");
    for (const char* const name :
         {"plain64.dll", "module64.dll", "program64.exe", "overlay64.exe", "compiled64.exe",
          "plain32.dll", "module32.dll", "program32.exe", "overlay32.exe"})
    {
        const Wide module = copied(name);
        EXPECT_EQ(failure(QV_ResourceToDll(L"alpha", module, path("data"))), "") << name;
        EXPECT_EQ(failure(QV_ResourceToDll(L"Nothing", module, path("empty"))), "") << name;
        write("out", "former content");
        EXPECT_TRUE(taken(L"Alpha", module) == bytes) << name;
        EXPECT_EQ(taken(L"nothing", module), "") << name;
    }
    EXPECT_EQ(taken(MAKEINTRESOURCEW(1033), path("module64.dll")), "data of 0x409");
    EXPECT_NE(QV_GetModulePatchNumber(path("module64.dll")), 0u);
}

TEST_F(Resources, EachFailureHasItsTextAndSuccessLeavesItAndTheModuleStays)
{
    EXPECT_EQ(QV_GetResCopyError(), nullptr);
    const Wide module = copied("module64.dll"), data = path("data"), missing = path("missing");
    const std::string before = read("module64.dll");
    write("text", "no module");
    write("data", "bytes");
    std::filesystem::create_hard_link(m_folder + "/module64.dll", m_folder + "/link");

    EXPECT_EQ(failure(QV_ResourceToDll(L"X", missing, data)), "Cannot load the dll file.");
    EXPECT_EQ(failure(QV_ResourceToDll(L"X", module, missing)), "Cannot open the data file.");
    EXPECT_EQ(taken(L"X", path("text")), "Cannot load the dll file.");
    for (const Wide& own : {module, path("link")})
        EXPECT_EQ(failure(QV_DllToResource(L"Alpha", module, own)), "Cannot open the data file.")
            << "by its own resource: " << own.utf8();
    EXPECT_EQ(taken(L"Greeting", module), "Cannot locate resource.") << "of other languages only";
    EXPECT_EQ(taken(L"Unknown", module), "Cannot locate resource.");
    EXPECT_EQ(read("out"), "") << "the empty data file stays behind";
    EXPECT_EQ(QV_DllToResource(L"Alpha", module, path("out")), QV_OK);
    EXPECT_EQ(test::utf8(QV_GetResCopyError()), "Cannot locate resource.");

    ASSERT_TRUE(SetFileAttributesW(module, FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(failure(QV_ResourceToDll(L"X", module, data)), "Updating resource failed.");
    SetFileAttributesW(module, FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(read("module64.dll") == before);
}

TEST_F(Resources, AModuleCanHoldItsOwnFormerFile)
{
    const Wide module = copied("module64.dll");
    const std::string before = read("module64.dll");
    ASSERT_EQ(QV_ResourceToDll(L"Former", module, module), QV_OK);
    EXPECT_EQ(QV_DllToResource(L"Former", module, path("out")), QV_OK);
    EXPECT_TRUE(read("out") == before);
}

TEST_F(Resources, TheLanguageScanKnowsItsLanguagesAndNoOthers)
{
    const Wide module = copied("plain64.dll");
    // The ends of the range, the two ids scanned after it, and neighbours outside.
    for (const int id : {0xC0A, 0x804, 0x47F, 0x47E, 0x405, 0x400, 0x3FF, 0x809, 0xC0B})
    {
        write("data", std::to_string(id));
        EXPECT_EQ(failure(QV_ResourceToDll(MAKEINTRESOURCEW(id), module, path("data"))), "");
    }
    CQvRscData data;
    data.AppendData("former", 6, 1);
    EXPECT_EQ(entries_of(QV_RCDATAToCQvRscData(data, module)),
              "1024:1024 1029:1029 1150:1150 2052:2052 3082:3082 ");
    EXPECT_EQ(entries_of(QV_RCDATAToCQvRscData(data, path("missing"))), "")
        << "a path that does not load stands for the program, which has no resources";
}

TEST_F(Resources, OneResourceIsAppendedUnderTheIdThatIsAskedFor)
{
    const Wide path = copied("module64.dll");
    __qv_hmodule* const module = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    CQvRscData data;
    for (const int entry : {-1, 0, 0})
        EXPECT_EQ(&QV_RCDATAToCQvRscDataByID(data, module, 1033, entry), &data);
    QV_RCDATAToCQvRscDataByID(data, path, 1031, 5);
    FreeLibrary(module);
    EXPECT_EQ(entries_of(data),
              "1033:data of 0x409 0:data of 0x409 0:data of 0x409 5:data of 0x407 ");
}

CQvRscData two_entries()
{
    CQvRscData data;
    EXPECT_EQ(data.AppendData("abc", 3, 7), QV_OK);
    EXPECT_EQ(data.AppendData("defgh", 5, 9), QV_OK);
    return data;
}

TEST(ResourceData, AMissGivesOneSharedArrayThatIsAlwaysEmpty)
{
    const CQvRscData data = two_entries();
    int id = 5;
    CQvByteArrayW32& miss = data.GetCQvByteArrayW32(2, &id);
    EXPECT_EQ(id, 5);
    EXPECT_EQ(miss.GetSize(), 0u);
    EXPECT_EQ(&CQvRscData().GetCQvByteArrayW32(0, nullptr), &miss);
    miss.SetData("x", 1, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
    EXPECT_EQ(data.GetCQvByteArrayW32(100, nullptr).GetSize(), 0u) << "whoever wrote to it";
    EXPECT_EQ(data.GetCQvByteArrayW32(1, nullptr).GetSize(), 5u);
}

TEST(ResourceData, WhoKeepsWhatWasLoadedTakesItOver)
{
    CQvRscData kept;
    {
        CQvRscData loaded = two_entries();
        kept = loaded;
        loaded.UnrefDataMember();
        EXPECT_EQ(loaded.Clear(), QV_OK) << "has nothing to clear";
        EXPECT_EQ(loaded.GetCQvByteArrayW32Count(), 0);
        EXPECT_EQ(loaded.AppendData("x", 1, 1), QV_ERR_NULLPTR);
    }
    EXPECT_EQ(entries_of(kept), "7:abc 9:defgh ");
}

// The address sanitizer reports leaks and double frees here.
TEST(ResourceData, NoListLeaksOrGoesTwiceHoweverItIsAssigned)
{
    CQvRscData first = two_entries();
    CQvRscData second;
    second.AppendData("only the second's", 17, 1);
    second = first; // frees its own list
    first = second; // both have this list already
    EXPECT_EQ(first.AppendData("x", 1, 1), QV_OK);
    EXPECT_EQ(second.GetCQvByteArrayW32Count(), 3) << "one list";
    {
        CQvRscData third = first;
        CQvRscData& same = third;
        third = same;
    }
    second.Clear();
    EXPECT_EQ(second.GetCQvByteArrayW32Count(), 0);
    EXPECT_EQ(first.GetCQvByteArrayW32Count(), 3) << "the other holder's list stays";
    const CQvRscData kept = first;
    first.UnrefDataMember();
    first = second;
    EXPECT_EQ(first.AppendData("y", 1, 1), QV_OK) << "usable again";
}

} // namespace

// Access lists of files, and lists by themselves.
#include <tuple>

#include <sys/stat.h>

#include "support/test.h"

#include "support/environment.h"
#include "support/refusal.h"

namespace
{

struct Entry
{
    BYTE type; // 0 allows, 1 denies
    DWORD mask;
    BYTE parts;  // number of parts of the identifier
    DWORD first; // 1 user, 2 group, 0 everyone
    bool operator==(const Entry&) const = default;
};

// Asks for the size first, as callers do.
std::vector<BYTE> descriptor_of(const wchar_t* path)
{
    DWORD size = 0;
    EXPECT_EQ(test::refusal(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, nullptr, 0, &size)),
              ERROR_INSUFFICIENT_BUFFER);
    std::vector<BYTE> bytes(size);
    EXPECT_FALSE(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, bytes.data(), size - 1, &size));
    EXPECT_TRUE(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, bytes.data(), size, &size));
    return bytes;
}

std::vector<Entry> entries_of(const ACL* list)
{
    std::vector<Entry> entries;
    const BYTE* at = reinterpret_cast<const BYTE*>(list + 1);
    for (WORD i = 0; i < list->AceCount; ++i)
    {
        Entry& entry = entries.emplace_back(Entry{at[0], 0, at[9], 0});
        std::memcpy(&entry.mask, at + 4, 4);
        std::memcpy(&entry.first, at + 16, 4);
        WORD size;
        std::memcpy(&size, at + 2, 2);
        at += size;
    }
    EXPECT_EQ(at - reinterpret_cast<const BYTE*>(list), list->AclSize);
    return entries;
}

class FileSecurity : public testing::Test
{
protected:
    FileSecurity() { test::write_file(m_path, "content"); }
    ~FileSecurity() override { PlinthTestReset(); }
    const std::string m_path = test::make_folder("security") + "/file";
    const test::Wide m_wide = test::windows_form(m_path);
};

TEST_F(FileSecurity, TheListHasAnEntryForEachClassThatMayDoSomething)
{
    constexpr DWORD owner = READ_CONTROL | WRITE_DAC;
    constexpr DWORD write_only = FILE_GENERIC_WRITE & ~(READ_CONTROL | SYNCHRONIZE);
    constexpr DWORD read_write = FILE_GENERIC_READ | FILE_GENERIC_WRITE | owner;
    const std::pair<mode_t, std::vector<Entry>> rows[] = {
        {0644, {{0, read_write, 3, 1}, {0, FILE_GENERIC_READ, 3, 2}, {0, FILE_GENERIC_READ, 1, 0}}},
        // The owner has fewer rights than the others.
        {0402,
         {{1, write_only, 3, 1},
          {0, FILE_GENERIC_READ | owner, 3, 1},
          {1, write_only, 3, 2},
          {0, FILE_GENERIC_WRITE, 1, 0}}},
    };
    for (const auto& [mode, entries] : rows)
    {
        ASSERT_EQ(chmod(m_path.c_str(), mode), 0);
        std::vector<BYTE> descriptor = descriptor_of(m_wide);
        BOOL present = FALSE, defaulted = TRUE;
        PACL list = nullptr;
        ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &list, &defaulted));
        ASSERT_TRUE(present && list && !defaulted);
        EXPECT_EQ(entries_of(list), entries) << std::oct << mode;
    }
}

TEST_F(FileSecurity, AFileSystemWithoutListsHasADescriptorWithoutOneAndAMissingFileNone)
{
    PlinthTestFail("file lists", 1, 0, ERROR_NOT_SUPPORTED);
    std::vector<BYTE> descriptor = descriptor_of(m_wide);
    BOOL present = TRUE, defaulted = FALSE;
    PACL list = nullptr;
    EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &list, &defaulted));
    EXPECT_FALSE(present);
    DWORD size = 0;
    EXPECT_EQ(test::refusal(
                  GetFileSecurityW(m_wide + L"x", DACL_SECURITY_INFORMATION, nullptr, 0, &size)),
              ERROR_FILE_NOT_FOUND);
}

TEST(AccessList, IsMadeEmptyAndRefusedIfItClaimsMoreThanItHolds)
{
    alignas(4) BYTE memory[16] = {};
    auto* const list = reinterpret_cast<ACL*>(memory);
    ACL_SIZE_INFORMATION info;
    const auto measure = [&](DWORD room)
    { return test::refusal(GetAclInformation(list, &info, room, AclSizeInformation)); };
    ASSERT_TRUE(InitializeAcl(list, 16, ACL_REVISION));
    EXPECT_EQ(measure(sizeof info), 0u);
    EXPECT_EQ(std::tuple(info.AceCount, info.AclBytesInUse, info.AclBytesFree),
              std::tuple(0u, 8u, 8u));
    list->AceCount = 1; // the entry has size 0
    EXPECT_EQ(measure(sizeof info), ERROR_INVALID_ACL);
    memory[10] = 9; // more than the list has
    EXPECT_NE(measure(sizeof info), 0u);
    EXPECT_FALSE(InitializeAcl(list, 7, ACL_REVISION));
}

} // namespace

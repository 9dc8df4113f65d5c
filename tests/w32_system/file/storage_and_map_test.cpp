#include <cstring>

#include <gtest/gtest.h>

#include <shlobj.h>

#include "support/files.h"

using test::OpenedFile;
using test::Wide;

namespace
{

std::string storage_path(bool withoutUser)
{
    wchar_t path[300] = L"";
    EXPECT_EQ(QV_GetStoragePath(path, 300, withoutUser), QV_OK);
    return test::utf8(path);
}

std::string root_storage_path(bool withoutUser)
{
    wchar_t path[300] = L"";
    EXPECT_EQ(QV_GetRootStoragePath(path, 300, withoutUser), QV_OK);
    return test::utf8(path);
}

TEST(StorageFolder, IsBuiltFromKnownFolderFolderAndUser)
{
    wchar_t common[MAX_PATH];
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common), S_OK);
    const std::string base = test::utf8(common);
    EXPECT_EQ(storage_path(false), base + "\\Quorvane\\Default");
    EXPECT_EQ(root_storage_path(false), base + "\\Quorvane");
    EXPECT_EQ(root_storage_path(true), base + "\\Quorvane");

    EXPECT_EQ(QV_SetStorageUser(L"jane"), QV_OK);
    EXPECT_EQ(test::utf8(QV_GetStorageUser()), "jane");
    EXPECT_EQ(storage_path(false), base + "\\Quorvane\\Default\\jane");
    EXPECT_EQ(storage_path(true), base + "\\Quorvane\\Default");
    EXPECT_EQ(root_storage_path(false), base + "\\Quorvane\\Default");
    EXPECT_EQ(root_storage_path(true), base + "\\Quorvane");
    EXPECT_EQ(QV_SetStorageUser(L""), QV_OK);

    EXPECT_EQ(QV_SetStorageFolder(L"Mine", CSIDL_COMMON_APPDATA), QV_OK);
    unsigned csidl = 0;
    EXPECT_EQ(test::utf8(QV_GetStorageFolder(&csidl)), "Mine");
    EXPECT_EQ(csidl, static_cast<unsigned>(CSIDL_COMMON_APPDATA));
    EXPECT_EQ(storage_path(false), base + "\\Mine");
    wchar_t tiny[3] = {L'?', L'?', L'?'};
    EXPECT_EQ(QV_GetStoragePath(tiny, 2, false), QV_OK);
    EXPECT_EQ(tiny[1], common[1]) << "filled without a terminator";
    EXPECT_EQ(tiny[2], L'?');
}

TEST(StorageFolder, RefusesWhatIsNoKnownFolderAndWhatDoesNotFit)
{
    wchar_t path[300] = L"kept";
    EXPECT_EQ(QV_SetStorageFolder(L"x", 0x7777), QV_OK);
    EXPECT_EQ(QV_GetStoragePath(path, 300, false), QV_ERR_NULLPTR);
    EXPECT_EQ(test::utf8(path), "kept");
    EXPECT_EQ(QV_GetRootStoragePath(path, 300, false), QV_OK);
    EXPECT_EQ(test::utf8(path), "");
    EXPECT_EQ(QV_SetStorageFolder(Wide(100'000, L'f'), CSIDL_COMMON_APPDATA), QV_OK);
    EXPECT_EQ(QV_SetStorageUser(Wide(100'000, L'u')), QV_OK);
    EXPECT_EQ(QV_GetStoragePath(path, 300, false), QV_ERR_SYSTEM);
}

class Mapping : public testing::Test
{
protected:
    Mapping()
    {
        m_content.resize(200'000);
        for (size_t i = 0; i < m_content.size(); ++i)
            m_content[i] = static_cast<char>(i * 7 + i / 251);
        test::write_file(m_folder + "/file", m_content);
    }
    std::string m_content;
    std::string m_folder = test::make_folder("map");
    Wide m_path = test::path_in(m_folder, "file");
};

TEST_F(Mapping, ShowsTheFileFromAnyOffsetAndOutlivesTheHandle)
{
    OpenedFile file(m_path, QV_OPEN_READ);
    for (const uint64_t offset : {0u, 1u, 65'535u, 65'536u, 70'000u, 199'999u})
    {
        void* address = nullptr;
        ASSERT_EQ(QV_MapFile(file, QV_MAP_READ, offset, 1, &address), QV_OK) << offset;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(address) % 65'536, offset % 65'536);
        EXPECT_EQ(*static_cast<char*>(address), m_content[offset]);
        EXPECT_EQ(QV_UnmapFile(address, 1), QV_OK);
        EXPECT_EQ(QV_UnmapFile(address, 1), QV_ERR_SYSTEM) << "it is gone";
    }
    void* whole = nullptr;
    ASSERT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, &whole), QV_OK);
    file.close();
    EXPECT_EQ(std::memcmp(whole, m_content.data(), m_content.size()), 0);
    EXPECT_EQ(QV_UnmapFile(whole, m_content.size()), QV_OK);
}

TEST_F(Mapping, WritesThroughGrowsAndKeepsCopiesPrivate)
{
    OpenedFile file(m_path, QV_OPEN_READ | QV_OPEN_WRITE);
    void* address = nullptr;
    ASSERT_EQ(QV_MapFile(file, QV_MAP_WRITE, 199'990, 100, &address), QV_OK);
    std::memcpy(address, "0123456789ABCDEF", 16);
    EXPECT_EQ(QV_UnmapFile(address, 100), QV_OK);
    ASSERT_EQ(QV_MapFile(file, QV_MAP_COPY, 0, 10, &address), QV_OK);
    std::memset(address, 'z', 10);
    EXPECT_EQ(QV_UnmapFile(address, 10), QV_OK);
    file.close();
    const std::string now = test::read_file(m_folder + "/file");
    EXPECT_EQ(now.size(), 200'090u);
    EXPECT_EQ(now.substr(199'990, 16), "0123456789ABCDEF");
    EXPECT_EQ(now.substr(0, 10), m_content.substr(0, 10));
}

TEST_F(Mapping, RefusesWhatCannotBeMapped)
{
    OpenedFile file(m_path, QV_OPEN_READ);
    void* address = nullptr;
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 0, 0, nullptr), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_MapFile(file, 0, 0, 0, &address), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_MapFile(file, 4, 0, 0, &address), QV_ERR_NULLPTR);
    EXPECT_EQ(QV_MapFile(file, QV_MAP_WRITE, 0, 0, &address), QV_ERR_SYSTEM) << "read access only";
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, 300'000, 1, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_MapFile(file, QV_MAP_READ, UINT64_MAX, 2, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(QV_UnmapFile(nullptr, 0), QV_ERR_NULLPTR);
    int local = 0;
    EXPECT_EQ(QV_UnmapFile(&local, 0), QV_ERR_SYSTEM);
    OpenedFile empty(test::path_in(m_folder, "empty"),
                     QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE);
    EXPECT_EQ(QV_MapFile(empty, QV_MAP_READ, 0, 0, &address), QV_ERR_SYSTEM);
    EXPECT_EQ(address, nullptr);
}

} // namespace

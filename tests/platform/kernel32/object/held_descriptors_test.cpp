// What keeps a file open for long, in a program that closes all its descriptors and then gets their
// numbers for a file of its own.
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test.h"

#include "support/handles.h"
#include "support/modules.h"

using test::error_of;
using test::Handle;

namespace
{

// A file of the program's own. What uses its numbers is declared after it, and ends before it.
class OwnFile
{
public:
    OwnFile() { test::write_file(m_path, m_content); }
    // Closes all descriptors and opens the file under the numbers below the limit.
    void take_all_numbers(int limit)
    {
        EXPECT_EQ(::close_range(3, ~0U, 0), 0);
        for (int fd = 0; (fd = ::open(m_path.c_str(), O_RDWR)) >= 0 && fd < limit;)
            m_numbers.push_back(fd);
    }
    ~OwnFile()
    {
        struct stat own = {};
        EXPECT_EQ(::stat(m_path.c_str(), &own), 0);
        for (const int fd : m_numbers)
        {
            struct stat found = {};
            EXPECT_EQ(::fstat(fd, &found), 0) << fd;
            EXPECT_EQ(found.st_ino, own.st_ino) << fd;
            ::close(fd);
        }
        EXPECT_EQ(test::read_file(m_path), m_content);
    }

private:
    const std::string m_path = test::make_folder("own") + "/file";
    const std::string m_content = std::string(200'000, 's');
    std::vector<int> m_numbers;
};

const std::string g_bytes(150'000, 'r'); // more than is read when a module is opened
const std::string g_others(100, 'o');

BOOL set(HANDLE update, int name, const std::string& bytes)
{
    return UpdateResourceW(update, RT_RCDATA, MAKEINTRESOURCEW(name), 0,
                           const_cast<char*>(bytes.data()), static_cast<DWORD>(bytes.size()));
}

// The bytes of a resource, or the error.
std::string resource(HMODULE module, int name)
{
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(name), RT_RCDATA);
    const void* const data = found ? LoadResource(module, found) : nullptr;
    return data ? std::string(static_cast<const char*>(data), SizeofResource(module, found))
                : "error " + std::to_string(GetLastError());
}

// A module with a resource, open as data, and the handle of an update of another module.
struct OpenModules
{
    OpenModules()
    {
        const HANDLE first = BeginUpdateResourceW(test::windows_form(m_path), FALSE);
        EXPECT_TRUE(set(first, 77, g_bytes) && EndUpdateResourceW(first, FALSE));
        m_data = LoadLibraryExW(test::windows_form(m_path), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        m_update = BeginUpdateResourceW(test::windows_form(m_changed), FALSE);
        FindResourceW(nullptr, MAKEINTRESOURCEW(77), RT_RCDATA); // opens the program's file
    }
    ~OpenModules() { EXPECT_TRUE(FreeLibrary(m_data)); }
    const std::string m_folder = test::make_folder("modules");
    const std::string m_path = test::copy_module(m_folder, "module64.dll");
    const std::string m_changed = test::copy_module(m_folder, "module32.dll");
    HMODULE m_data = nullptr;
    HANDLE m_update = nullptr;
};

TEST(HeldDescriptors, OfModulesAreOpenedAgain)
{
    for (const int limit : {20, 900})
    {
        SCOPED_TRACE(limit);
        OwnFile own;
        const OpenModules modules;
        own.take_all_numbers(limit);
        EXPECT_TRUE(resource(modules.m_data, 77) == g_bytes);
        EXPECT_EQ(error_of(test::open_file(test::windows_form(modules.m_path), GENERIC_WRITE)),
                  DWORD{ERROR_SHARING_VIOLATION});
        EXPECT_TRUE(set(modules.m_update, 78, g_others));
        EXPECT_TRUE(EndUpdateResourceW(modules.m_update, FALSE)) << GetLastError();
        const std::unique_ptr<HINSTANCE__, decltype(&FreeLibrary)> changed(
            LoadLibraryExW(test::windows_form(modules.m_changed), nullptr,
                           LOAD_LIBRARY_AS_DATAFILE),
            FreeLibrary);
        EXPECT_EQ(resource(changed.get(), 78), g_others);
    }
}

TEST(HeldDescriptors, OfModulesWhoseFilesWereReplacedMeanwhileFail)
{
    OwnFile own;
    const OpenModules modules;
    for (const std::string& path : {modules.m_path, modules.m_changed})
    {
        const std::string bytes = test::read_file(path);
        std::filesystem::remove(path);
        test::write_file(path, bytes);
    }
    own.take_all_numbers(20);
    EXPECT_EQ(resource(modules.m_data, 77), "error " + std::to_string(ERROR_FILE_INVALID));
    EXPECT_TRUE(set(modules.m_update, 78, g_others));
    EXPECT_EQ(error_of(EndUpdateResourceW(modules.m_update, FALSE)), DWORD{ERROR_FILE_INVALID});
}

TEST(HeldDescriptors, OfMappingsLeaveTheProgramsFileAlone)
{
    const std::string path = test::make_folder("mapped") + "/file";
    test::write_file(path, g_others);
    const auto map = [](HANDLE file, const char* name)
    { return Handle(CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 100, name)); };
    for (const int limit : {20, 900})
    {
        SCOPED_TRACE(limit);
        OwnFile own;
        Handle file(test::open_file(test::windows_form(path), GENERIC_READ | GENERIC_WRITE));
        const Handle of_file = map(file, nullptr);
        file.close();
        const Handle of_memory = map(INVALID_HANDLE_VALUE, nullptr);
        const Handle of_name = map(INVALID_HANDLE_VALUE, "held");
        own.take_all_numbers(limit);
        const auto view = [](HANDLE mapping)
        { return error_of(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0)); };
        EXPECT_EQ(view(of_file), DWORD{ERROR_FILE_INVALID});
        EXPECT_EQ(view(of_memory), DWORD{ERROR_FILE_INVALID});
        EXPECT_EQ(view(of_name), 0u); // it is opened again, by its name
    }
}

} // namespace

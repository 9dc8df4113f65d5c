#include "resource_copy.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <windows.h>

#include <io.h>
#include <tchar.h>

namespace
{

constexpr const wchar_t* no_module = L"Cannot load the dll file.";
constexpr const wchar_t* no_data_file = L"Cannot open the data file.";
constexpr const wchar_t* no_resource = L"Cannot locate resource.";
constexpr const wchar_t* not_loaded = L"Cannot load resource.";
constexpr const wchar_t* not_locked = L"Cannot lock resource.";
constexpr const wchar_t* no_update = L"Updating resource failed.";

constexpr WORD type_raw_data = 10; // RT_RCDATA
constexpr WORD language = 0;

struct FileCloser
{
    void operator()(FILE* file) const { std::fclose(file); }
};
using DataFile = std::unique_ptr<FILE, FileCloser>;

struct BlockFreer
{
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, BlockFreer>;

struct ModuleFreer
{
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using DataModule = std::unique_ptr<HINSTANCE__, ModuleFreer>;

// Returns null, or the text of the failure.
const wchar_t* Open(const wchar_t* modulePath, const wchar_t* dataPath, const wchar_t* mode,
                    DataModule& module, DataFile& file)
{
    module.reset(LoadLibraryExW(modulePath, nullptr, LOAD_LIBRARY_AS_DATAFILE));
    if (!module)
        return no_module;
    file.reset(dataPath ? _wfopen(dataPath, mode) : nullptr);
    return file ? nullptr : no_data_file;
}

BOOL CALLBACK NoteLanguage(HMODULE, LPCWSTR, LPCWSTR, WORD each, LONG_PTR argument)
{
    bool& found = *reinterpret_cast<bool*>(argument);
    found = each == language;
    return !found;
}

// Whether the resource exists in our language. Finding it isn't enough: when asked for the neutral
// language, the system returns another one that suits the thread.
bool HasLanguage(HMODULE module, const wchar_t* name)
{
    bool found = false;
    EnumResourceLanguagesW(module, MAKEINTRESOURCEW(type_raw_data), name, NoteLanguage,
                           reinterpret_cast<LONG_PTR>(&found));
    return found;
}

// The content of a file of less than 2 GiB; null if it can't be read. Empty files have a block too.
Block ReadAll(FILE* file, DWORD& length)
{
    const long size = _filelength(_fileno(file));
    if (size < 0)
        return nullptr;
    length = static_cast<DWORD>(size);
    Block block(std::malloc(length ? length : 1));
    if (block && std::fread(block.get(), 1, length, file) != length)
        block.reset();
    return block;
}

} // namespace

const wchar_t* QvStoreResource(const wchar_t* name, const wchar_t* modulePath,
                               const wchar_t* dataPath)
{
    DataModule module;
    DataFile file;
    if (const wchar_t* const failure = Open(modulePath, dataPath, L"rb", module, file))
        return failure;
    module.reset(); // the update opens the module exclusively
    DWORD length = 0;
    const Block block = ReadAll(file.get(), length);
    file.reset(); // it may be the module itself
    if (!block)
        return no_data_file;
    const HANDLE update = BeginUpdateResourceW(modulePath, FALSE);
    if (!UpdateResourceW(update, MAKEINTRESOURCEW(type_raw_data), name, language, block.get(),
                         length))
    {
        const DWORD error = GetLastError();
        if (update)
            EndUpdateResourceW(update, TRUE);
        SetLastError(error);
        return no_update;
    }
    return EndUpdateResourceW(update, FALSE) ? nullptr : no_update;
}

const wchar_t* QvExtractResource(const wchar_t* name, const wchar_t* modulePath,
                                 const wchar_t* dataPath)
{
    DataModule module;
    DataFile file;
    if (const wchar_t* const failure = Open(modulePath, dataPath, L"wb", module, file))
        return failure;
    const HRSRC found =
        HasLanguage(module.get(), name)
            ? FindResourceExW(module.get(), MAKEINTRESOURCEW(type_raw_data), name, language)
            : nullptr;
    if (!found)
        return no_resource;
    const HGLOBAL loaded = LoadResource(module.get(), found);
    if (!loaded)
        return not_loaded;
    const void* const bytes = LockResource(loaded);
    if (!bytes)
        return not_locked;
    std::fwrite(bytes, 1, SizeofResource(module.get(), found), file.get());
    return nullptr;
}

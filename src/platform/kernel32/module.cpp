// Modules: the program's own path, and module files opened as data.
//
// A file that is opened as data gives a handle that reads as a module without resources. The
// system's own modules are always there (system_modules.h), and ELF modules that the program has
// loaded are known by name and by address (loaded_modules.h).
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <set>
#include <string>

#include "loaded_modules.h"
#include "path.h"
#include "system/calls.h"
#include "system/last_error.h"
#include "system/text.h"
#include "system_modules.h"
#include "windows.h"

using namespace platform;

namespace
{

struct DataModule
{
    std::string path;
};

// The modules that were opened as data, so that a foreign handle is told apart.
struct DataModules
{
    std::mutex lock; // guards all; no other lock is taken while it is held
    std::set<DataModule*> all;
};

DataModules& data_modules()
{
    static DataModules& only = *new DataModules;
    return only;
}

DataModule* find_module(HMODULE module)
{
    auto* const wanted = reinterpret_cast<DataModule*>(module);
    return data_modules().all.count(wanted) ? wanted : nullptr;
}

// False with the last error set.
bool native_module_path(HMODULE module, std::string& native)
{
    if (!module || module == program_module())
    {
        char path[native_path_limit];
        const ssize_t length = sys::readlink("/proc/self/exe", path, sizeof path);
        if (length < 0)
            return fail_errno(errno);
        native.assign(path, static_cast<size_t>(length));
        return true;
    }
    {
        const std::lock_guard guard(data_modules().lock);
        if (const DataModule* const found = find_module(module))
        {
            native = found->path;
            return true;
        }
    }
    LoadedModule loaded;
    if (!module_at(reinterpret_cast<uintptr_t>(module), loaded) || loaded.handle() != module ||
        loaded.path[0] == '\0')
        return fail_with(ERROR_MOD_NOT_FOUND);
    native = loaded.path;
    return true;
}

// A path that doesn't fit is cut and terminated, and the result is the size of the buffer.
// copy(text, buffer, room, written) gives the units that the whole text has.
template <class Char, class Copy>
DWORD module_file_name(const char* name, HMODULE module, Char* buffer, DWORD size, Copy copy)
{
    int error = 0;
    if (api_fault(name, error))
        return static_cast<DWORD>(fail_with(static_cast<DWORD>(error)));
    std::string native;
    if (!native_module_path(module, native))
        return 0;
    if (!buffer || size == 0)
        return static_cast<DWORD>(fail_with(ERROR_INSUFFICIENT_BUFFER));
    size_t written = 0;
    const size_t units = copy(windows_path(native), buffer, size - 1, written);
    buffer[written] = 0;
    if (units <= written)
    {
        fail_with(ERROR_SUCCESS);
        return static_cast<DWORD>(written);
    }
    fail_with(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

} // namespace

extern "C" DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size)
{
    return module_file_name("GetModuleFileNameW", module, buffer, size,
                            [](const std::string& text, wchar_t* to, size_t room, size_t& written) {
                                return wide_from_utf8(text.data(), text.size(), to, room, &written);
                            });
}

extern "C" DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size)
{
    return module_file_name("GetModuleFileNameA", module, buffer, size,
                            [](const std::string& text, char* to, size_t room, size_t& written)
                            {
                                written = std::min(text.size(), room);
                                std::memcpy(to, text.data(), written);
                                return text.size();
                            });
}

extern "C" HMODULE LoadLibraryExW(LPCWSTR path, HANDLE, DWORD flags)
{
    if (path && !(flags & LOAD_LIBRARY_AS_DATAFILE))
        if (const HMODULE found = find_system_module(path))
            return found;
    const NativePath native(path);
    if (!native.ok())
        return nullptr;
    if (!(flags & LOAD_LIBRARY_AS_DATAFILE))
    {
        fail_with(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    struct stat found;
    if (sys::stat(native.c_str(), &found) != 0)
    {
        native.fail(errno);
        return nullptr;
    }
    if (!S_ISREG(found.st_mode) || sys::access(native.c_str(), R_OK) != 0)
    {
        fail_with(S_ISREG(found.st_mode) ? ERROR_ACCESS_DENIED : ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    try
    {
        const std::lock_guard guard(data_modules().lock);
        auto* const module = new DataModule{native.c_str()};
        data_modules().all.insert(module);
        return reinterpret_cast<HMODULE>(module);
    }
    catch (const std::bad_alloc&)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

extern "C" HMODULE LoadLibraryW(LPCWSTR path)
{
    return LoadLibraryExW(path, nullptr, 0);
}

extern "C" BOOL FreeLibrary(HMODULE module)
{
    if (system_module(module))
        return TRUE;
    const std::lock_guard guard(data_modules().lock);
    DataModule* const found = find_module(module);
    if (!found)
        return fail_with(ERROR_MOD_NOT_FOUND);
    data_modules().all.erase(found);
    delete found;
    return TRUE;
}

extern "C" HRSRC FindResourceW(HMODULE, LPCWSTR, LPCWSTR)
{
    fail_with(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
}

extern "C" HGLOBAL LoadResource(HMODULE, HRSRC)
{
    fail_with(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
}

extern "C" LPVOID LockResource(HGLOBAL)
{
    return nullptr;
}

extern "C" DWORD SizeofResource(HMODULE, HRSRC)
{
    return static_cast<DWORD>(fail_with(ERROR_RESOURCE_DATA_NOT_FOUND));
}

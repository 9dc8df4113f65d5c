// Modules: the program's own path, and module files opened as data.
//
// A file that is opened as data gives a handle that reads as a module without resources. The
// system's own modules are always there (system_modules.h).
#include <mutex>
#include <new>
#include <set>
#include <string>

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

} // namespace

extern "C" DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size)
{
    int error = 0;
    if (api_fault("GetModuleFileNameW", error))
        return static_cast<DWORD>(fail_with(static_cast<DWORD>(error)));
    char path[native_path_limit];
    std::string native;
    if (!module || module == program_module())
    {
        const ssize_t length = sys::readlink("/proc/self/exe", path, sizeof path);
        if (length < 0)
            return static_cast<DWORD>(fail_errno(errno));
        native.assign(path, static_cast<size_t>(length));
    }
    else
    {
        const std::lock_guard guard(data_modules().lock);
        const DataModule* const found = find_module(module);
        if (!found)
            return static_cast<DWORD>(fail_with(ERROR_MOD_NOT_FOUND));
        native = found->path;
    }
    if (!buffer || size == 0)
        return static_cast<DWORD>(fail_with(ERROR_INSUFFICIENT_BUFFER));
    // A path that doesn't fit is cut and terminated, and the result is the size of the buffer.
    const std::string text = windows_path(native);
    size_t written = 0;
    const size_t units = wide_from_utf8(text.data(), text.size(), buffer, size - 1, &written);
    buffer[written] = L'\0';
    if (units <= written)
    {
        fail_with(ERROR_SUCCESS);
        return static_cast<DWORD>(written);
    }
    fail_with(ERROR_INSUFFICIENT_BUFFER);
    return size;
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

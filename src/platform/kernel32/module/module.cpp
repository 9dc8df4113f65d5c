// Modules: loading and freeing them, opening their files as data, and their paths.
//
// The handle of a loaded module is its lowest address, regardless of what loaded it
// (loaded_modules.h); each opening as data makes a handle of its own. The system's own modules
// always exist (system_modules.h).
#include "module.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <vector>

#include "kernel32/file/native_path.h"
#include "kernel32/file/path.h"
#include "loaded_modules.h"
#include "loader_lock.h"
#include "module_search.h"
#include "program_file.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"
#include "system/text.h"
#include "system_modules.h"
#include "windows.h"

using namespace platform;

namespace
{

struct Entry
{
    std::shared_ptr<Module> module;
    void* loader = nullptr;  // the loader's handle; null if it was not loaded through here
    unsigned references = 0; // none: loaded by other code, and kept for its resources
};

struct Table
{
    std::mutex lock; // guards all below; a module's lock and the loader's list are locked under it
    std::map<HMODULE, Entry> modules;
    unsigned long long unloaded = 0; // unloaded_modules() when other code's were last checked
    std::vector<std::shared_ptr<Module>> replaced; // see forget_unloaded
    std::shared_ptr<Module> program;
};

// Never destroyed: modules are freed until the very end of the process.
Table& table()
{
    static Immortal<Table> only;
    return *only;
}

std::mutex& table_lock()
{
    return table().lock;
}

const AtFork g_at_fork(ForkStep::modules, taken_at_fork<table_lock>());

// Empty, with the last error, if the path isn't available.
std::string own_path()
{
    std::string path = program_path();
    if (path.empty())
        fail_errno(errno);
    return path;
}

HMODULE not_found()
{
    fail_with(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

HMODULE open_as_data(LPCWSTR path)
{
    const NativePath native(path);
    if (!native.ok())
        return nullptr;
    auto module = std::make_shared<Module>(native.c_str());
    if (const DWORD error = module->open_file())
    {
        if (error == ERROR_FILE_NOT_FOUND)
            native.fail(ENOENT);
        else
            fail_with(error);
        return nullptr;
    }
    auto* const handle = reinterpret_cast<HMODULE>(module.get());
    const std::lock_guard guard(table().lock);
    table().modules[handle] = {std::move(module), nullptr, 1};
    return handle;
}

bool find_loaded(void* loader, LoadedModule& found)
{
    const link_map* map = nullptr;
    return sys::dlinfo(loader, RTLD_DI_LINKMAP, &map) == 0 &&
           module_at(reinterpret_cast<uintptr_t>(map->l_ld), found);
}

// Modules loaded by other code may be unloaded unnoticed, and their addresses reused. Modules found
// unloaded are moved to gone, which the caller destroys without the lock.
//
// A module that was loaded again from a replaced file, at the same address, uses its new resources
// from now on; resources handed out from the old file stay valid.
void forget_unloaded(Table& all, std::vector<std::shared_ptr<Module>>& gone)
{
    const unsigned long long unloaded = unloaded_modules();
    if (unloaded == all.unloaded)
        return;
    for (auto at = all.modules.begin(); at != all.modules.end();)
    {
        const auto each = at++;
        std::shared_ptr<Module>& module = each->second.module;
        if (each->second.references != 0)
            continue;
        LoadedModule loaded;
        const bool stays = module_of(each->first, loaded) && module->path() == loaded.path;
        if (stays && !module->is_replaced(loaded))
            continue;
        (stays ? all.replaced : gone).push_back(std::move(module));
        all.modules.erase(each);
    }
    all.unloaded = unloaded;
}

// The file exists but the loader refuses it: either the file or one that it needs is invalid.
DWORD refusal_of(const std::string& path)
{
    const int fd = sys::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return errno == ENOENT ? ERROR_MOD_NOT_FOUND : system_error(errno);
    char magic[4] = {};
    const ssize_t got = sys::read(fd, magic, sizeof magic);
    sys::close(fd);
    return got == sizeof magic && std::memcmp(magic,
                                              "\x7f"
                                              "ELF",
                                              sizeof magic) == 0
               ? ERROR_MOD_NOT_FOUND
               : ERROR_BAD_EXE_FORMAT;
}

// The module's code runs during this call, so no lock is held.
HMODULE load(LPCWSTR name)
{
    if (const HMODULE found = find_system_module(name))
        return found;
    const NativePath native(name);
    if (!native.ok())
        return nullptr;
    std::string path;
    void* loader = nullptr;
    for (const std::string& file : find_module_files(native.c_str()))
    {
        path = file;
        loader = sys::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (loader)
            break;
    }
    if (!loader)
    {
        fail_with(path.find('/') == std::string::npos ? ERROR_MOD_NOT_FOUND : refusal_of(path));
        return nullptr;
    }
    try
    {
        LoadedModule loaded;
        if (!find_loaded(loader, loaded))
        {
            sys::dlclose(loader);
            return not_found();
        }
        std::vector<std::shared_ptr<Module>> gone;
        const std::lock_guard guard(table().lock);
        forget_unloaded(table(), gone);
        auto module = std::make_shared<Module>(loaded);
        Entry& entry = table().modules[loaded.handle()];
        if (!entry.module)
            entry.module = std::move(module);
        entry.loader = loader;
        ++entry.references;
        return loaded.handle();
    }
    catch (...)
    {
        sys::dlclose(loader);
        throw;
    }
}

// A separate function, so that a request for the program's own path has only one path on the stack.
[[gnu::noinline]] void path_of_other(HMODULE module, std::string& native)
{
    LoadedModule loaded;
    if (module_of(module, loaded))
        native = loaded.path;
    else if (const std::shared_ptr<Module> found = hold_module(module))
        native = found->path();
}

// False with the last error set.
bool native_module_path(HMODULE module, std::string& native)
{
    if (!module || module == program_module())
    {
        native = own_path();
        return !native.empty();
    }
    path_of_other(module, native);
    return !native.empty();
}

// A path that doesn't fit is cut and terminated, and the result is the size of the buffer.
// copy(text, buffer, room, written) returns the units of the whole text.
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

namespace platform
{

std::shared_ptr<Module> hold_module(HMODULE handle)
{
    if (!handle || handle == program_module())
    {
        const std::string path = own_path();
        const std::lock_guard guard(table().lock);
        if (!table().program && !path.empty())
            table().program = std::make_shared<Module>(path);
        return table().program;
    }
    std::vector<std::shared_ptr<Module>> gone;
    const std::lock_guard guard(table().lock);
    std::map<HMODULE, Entry>& modules = table().modules;
    auto found = modules.find(handle);
    if (found != modules.end() && found->second.references != 0)
        return found->second.module;
    forget_unloaded(table(), gone);
    found = modules.find(handle);
    if (found != modules.end())
        return found->second.module;
    LoadedModule loaded;
    if (!module_of(handle, loaded))
    {
        not_found();
        return nullptr;
    }
    auto module = std::make_shared<Module>(loaded);
    modules[handle].module = module;
    return module;
}

} // namespace platform

extern "C" DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size)
try
{
    return module_file_name("GetModuleFileNameW", module, buffer, size,
                            [](const std::string& text, wchar_t* to, size_t room, size_t& written) {
                                return wide_from_utf8(text.data(), text.size(), to, room, &written);
                            });
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size)
try
{
    return module_file_name("GetModuleFileNameA", module, buffer, size,
                            [](const std::string& text, char* to, size_t room, size_t& written)
                            {
                                written = std::min(text.size(), room);
                                std::memcpy(to, text.data(), written);
                                return text.size();
                            });
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" HMODULE LoadLibraryExW(LPCWSTR path, HANDLE, DWORD flags)
{
    try
    {
        if (flags & LOAD_LIBRARY_AS_DATAFILE)
            return open_as_data(path);
        return path && *path ? load(path) : not_found();
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, nullptr);
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
    Entry freed;
    {
        const std::lock_guard guard(table().lock);
        const auto found = table().modules.find(module);
        if (found == table().modules.end() || found->second.references == 0)
            return fail_with(ERROR_MOD_NOT_FOUND);
        freed = found->second;
        if (--found->second.references == 0)
            table().modules.erase(found);
    }
    // The module's final code runs during this call, so no lock of the table is held.
    const LoaderLock lock;
    if (freed.loader && sys::dlclose(freed.loader) != 0)
        return fail_with(ERROR_GEN_FAILURE);
    return TRUE;
}

#include "loaded_modules.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "system/calls.h"
#include "system/fork.h"
#include "system/text.h"

namespace platform
{

namespace
{

constexpr uintptr_t page = 4096;

std::mutex& list_lock()
{
    return sys::g_loader_list;
}

const AtFork g_at_fork(ForkStep::loader_list, taken_at_fork<list_lock>());

// The addresses from the first to the last loaded segment, in whole pages.
void find_range(const dl_phdr_info& info, LoadedModule& module)
{
    uintptr_t low = UINTPTR_MAX;
    uintptr_t high = 0;
    for (size_t i = 0; i < info.dlpi_phnum; ++i)
    {
        const auto& segment = info.dlpi_phdr[i];
        if (segment.p_type != PT_LOAD)
            continue;
        low = std::min<uintptr_t>(low, segment.p_vaddr);
        high = std::max<uintptr_t>(high, segment.p_vaddr + segment.p_memsz);
    }
    if (low > high)
        return;
    module.base = info.dlpi_addr + low / page * page;
    module.end = info.dlpi_addr + (high + page - 1) / page * page;
}

void find_path(const dl_phdr_info& info, LoadedModule& module)
{
    if (info.dlpi_name && info.dlpi_name[0] == '\0') // the program itself
    {
        const ssize_t length = sys::readlink("/proc/self/exe", module.path, sizeof module.path - 1);
        module.path[length < 0 ? 0 : length] = '\0';
        return;
    }
    // The kernel's own has a name and no file.
    const bool file = info.dlpi_name && std::strchr(info.dlpi_name, '/') &&
                      std::strlen(info.dlpi_name) < sizeof module.path;
    std::strcpy(module.path, file ? info.dlpi_name : "");
}

// Goes through the modules until wanted(module) is true.
template <class Wanted> bool find(LoadedModule& found, Wanted wanted)
{
    struct Search
    {
        LoadedModule& found;
        Wanted& wanted;
    } search{found, wanted};
    return sys::dl_iterate_phdr(
               [](dl_phdr_info* info, size_t, void* argument)
               {
                   Search& to = *static_cast<Search*>(argument);
                   find_range(*info, to.found);
                   return static_cast<int>(to.wanted(*info, to.found));
               },
               &search) != 0;
}

std::string folded(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

bool is_version_of(const std::string& file, const std::string& name)
{
    return file == name || (file.compare(0, name.size(), name) == 0 && file[name.size()] == '.');
}

} // namespace

bool module_at(uintptr_t address, LoadedModule& found)
{
    return find(found,
                [address](const dl_phdr_info& info, LoadedModule& module)
                {
                    if (address < module.base || address >= module.end)
                        return false;
                    find_path(info, module);
                    return true;
                });
}

bool module_named(LPCWSTR name, LoadedModule& found)
{
    std::string wanted = folded(to_utf8(name));
    if (wanted.find('.') == std::string::npos)
        wanted += ".dll";
    std::string native; // the name as modules have it here
    if (wanted.size() > 4 && wanted.compare(wanted.size() - 4, 4, ".dll") == 0)
        native = wanted.substr(0, wanted.size() - 4) + ".so";
    // Names of files are compared outside the loader's list: comparing allocates.
    for (unsigned index = 0;; ++index)
    {
        unsigned at = 0;
        if (!find(found,
                  [&at, index](const dl_phdr_info& info, LoadedModule& module)
                  {
                      if (at++ != index)
                          return false;
                      find_path(info, module);
                      return true;
                  }))
            return false;
        const char* const slash = std::strrchr(found.path, '/');
        const std::string file = folded(slash ? slash + 1 : found.path);
        if (!file.empty() &&
            (file == wanted || (!native.empty() && (is_version_of(file, native) ||
                                                    is_version_of(file, "lib" + native)))))
            return true;
    }
}

unsigned long long unloaded_modules()
{
    unsigned long long count = 0;
    sys::dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* argument)
        {
            *static_cast<unsigned long long*>(argument) = info->dlpi_subs;
            return 1;
        },
        &count);
    return count;
}

} // namespace platform

#include "loaded_modules.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "kernel32/file/mappings.h"
#include "program_file.h"
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

using Headers = std::array<ElfW(Phdr), 64>;

// A module's program headers are in its file's first page. If another program cut the file, reading
// the page would end this process, so the kernel reads it, if it supports that. Returns how many
// there are.
size_t read_headers(const dl_phdr_info& info, Headers& headers)
{
    const size_t count = std::min<size_t>(info.dlpi_phnum, headers.size());
    const size_t size = count * sizeof headers[0];
    if (sys::read_memory(reinterpret_cast<uintptr_t>(info.dlpi_phdr), headers.data(), size) ==
        static_cast<ssize_t>(size))
        return count;
    if (errno == EFAULT)
        return 0;
    std::memcpy(headers.data(), info.dlpi_phdr, size);
    return count;
}

// The addresses from the first to the last loaded segment, in whole pages; none if the headers
// can't be read.
void find_range(const dl_phdr_info& info, LoadedModule& module)
{
    Headers headers;
    uintptr_t low = UINTPTR_MAX;
    uintptr_t high = 0;
    const size_t count = read_headers(info, headers);
    for (size_t i = 0; i < count; ++i)
    {
        if (headers[i].p_type != PT_LOAD)
            continue;
        low = std::min<uintptr_t>(low, headers[i].p_vaddr);
        high = std::max<uintptr_t>(high, headers[i].p_vaddr + headers[i].p_memsz);
    }
    module.base = module.end = 0;
    if (low > high)
        return;
    module.base = info.dlpi_addr + low / page * page;
    module.end = info.dlpi_addr + (high + page - 1) / page * page;
}

void find_path(const dl_phdr_info& info, LoadedModule& module)
{
    module.name = info.dlpi_name ? info.dlpi_name : "";
    module.program = info.dlpi_name && info.dlpi_name[0] == '\0';
    // The kernel's own module has a name and no file.
    const bool file =
        std::strchr(module.name, '/') && std::strlen(module.name) < sizeof module.path;
    std::strcpy(module.path, module.program ? program_path() : file ? module.name : "");
}

// The loader keeps a path as it was given; a relative one depends on a current folder that may have
// changed since. The kernel knows the full path.
void make_absolute(LoadedModule& module)
{
    if (module.path[0] == '\0' || module.path[0] == '/')
        return;
    Mapping mapping;
    if (mapped_file_at(module.base, mapping) && mapping.path[0] == '/')
        std::strcpy(module.path, without_removal_mark(mapping.path));
}

// Visits the modules until wanted(module) is true.
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
    const bool is_there = find(found,
                               [address](const dl_phdr_info& info, LoadedModule& module)
                               {
                                   if (address < module.base || address >= module.end)
                                       return false;
                                   find_path(info, module);
                                   return true;
                               });
    if (is_there)
        make_absolute(found);
    return is_there;
}

bool module_of(HMODULE handle, LoadedModule& found)
{
    return module_at(reinterpret_cast<uintptr_t>(handle), found) && found.handle() == handle &&
           found.path[0] != '\0';
}

bool module_named(LPCWSTR name, LoadedModule& found)
{
    std::string wanted = folded(to_utf8(name));
    if (wanted.find('.') == std::string::npos)
        wanted += ".dll";
    std::string native; // the module's name in its native form
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
        {
            make_absolute(found);
            return true;
        }
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

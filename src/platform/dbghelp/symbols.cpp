// The symbol engine: what it knows about the process's modules, and look-ups by address.
//
// A module is known after SymLoadModule64; libdw opens and reads its file when an address in it is
// first looked up. Addresses are reused, so once any module has been unloaded, the engine forgets
// all modules.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "debug_file.h"
#include "kernel32/module/image_file.h"
#include "libdw.h"
#include "system/calls.h"
#include "system/descriptor.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/fork.h"
#include "system/kept_file.h"
#include "system/last_error.h"
#include "system/own_descriptor.h"
#include "system/text.h"
#include "windows.h"

#include "dbghelp.h"

using namespace platform;

namespace
{

struct KnownModule
{
    uintptr_t base;
    uintptr_t end;
    std::string image; // the name that its loader used
    bool unmatched;    // its own file is gone or was replaced
};

// Callers are serialised, so there is no lock.
struct Engine
{
    DWORD options = SYMOPT_UNDNAME;
    Dwfl* reader = nullptr; // null until the engine is started
    std::vector<KnownModule> modules;
    std::vector<KeptFile> files;     // of the modules
    unsigned long long unloaded = 0; // the value of unloaded_modules() when they were added
    std::string line_file;           // the text to which the last line record points
};

constinit OfProcess<Engine> g_engine; // never destroyed: reports are made until the very end

Engine& engine()
{
    return g_engine.get();
}

// Another thread of the parent may have been using it: a child starts it anew.
const AtFork g_at_fork(ForkStep::symbols, {nullptr, nullptr, [] { g_engine.renew(); }});

KnownModule* known_module(DWORD64 address)
{
    auto& modules = engine().modules;
    const auto found = std::find_if(modules.begin(), modules.end(),
                                    [address](const KnownModule& each)
                                    { return address >= each.base && address < each.end; });
    return found == modules.end() ? nullptr : &*found;
}

// The descriptor under which libdw keeps a file open; fd is taken over. It has a high number, like
// all that stay open.
int kept_open(int fd)
{
    if (fd < 0)
        return fd;
    const int moved = duplicate_high(fd);
    if (moved >= 0)
        sys::close(fd);
    const int kept = moved >= 0 ? moved : fd;
    try
    {
        engine().files.emplace_back(kept);
    }
    catch (const std::bad_alloc&) // it is not checked again
    {
    }
    return kept;
}

// Called when an address in the module is first looked up. By then an upgrade may have replaced its
// file; symbols of another build would name functions that don't run.
//
// libdw would map the file, and another program that cuts it would end this process. So the file is
// read instead. No exception may leave the function, since the caller is C.
int open_module(Dwfl_Module*, void**, const char*, Dwarf_Addr base, char** file, Elf** elf)
{
    LoadedModule loaded;
    int fd = -1;
    try
    {
        fd = kept_open(module_at(base, loaded) ? open_image_file(loaded) : -1);
    }
    catch (const std::bad_alloc&)
    {
        return -1; // the module has no symbols then
    }
    if (fd < 0)
    {
        if (KnownModule* const known = known_module(base))
            known->unmatched = true;
        return -1;
    }
    libdw()->elf_version(EV_CURRENT);
    *elf = libdw()->elf_begin(fd, ELF_C_READ, nullptr);
    *file = ::strdup(loaded.path);
    return fd;
}

int open_debug_file(Dwfl_Module* module, void** user_data, const char* name, Dwarf_Addr base,
                    const char* file, const char* link, GElf_Word checksum, char** found)
{
    return kept_open(find_debug_file(module, user_data, name, base, file, link, checksum, found));
}

char* g_debug_path = nullptr; // libdw's default
const Dwfl_Callbacks callbacks = {open_module, open_debug_file, nullptr, &g_debug_path};

bool has_its_files()
{
    return std::ranges::all_of(engine().files, &KeptFile::is_still);
}

// For a program that closed descriptors, as daemons do. The old reader would close the files that
// have its numbers now, so it is abandoned as it is.
void begin_anew_without_files()
{
    Dwfl* const reader =
        engine().files.empty() || has_its_files() ? nullptr : libdw()->begin(&callbacks);
    if (!reader)
        return;
    leave_to_parent(engine().reader);
    engine().reader = reader;
    engine().modules.clear();
    engine().files.clear();
}

void forget_unloaded()
{
    const unsigned long long unloaded = unloaded_modules();
    if (unloaded == engine().unloaded)
        return;
    engine().unloaded = unloaded;
    engine().modules.clear();
    engine().files.clear();
    libdw()->report_begin(engine().reader);
    libdw()->report_end(engine().reader, nullptr, nullptr);
}

// False with the last error set.
bool ready(HANDLE process)
{
    if (process != GetCurrentProcess() || !engine().reader)
        return fail_with(ERROR_INVALID_HANDLE);
    begin_anew_without_files();
    forget_unloaded();
    return true;
}

bool add_module(const LoadedModule& loaded, const char* image)
{
    const Descriptor file(open_image_file(loaded));
    engine().modules.push_back({loaded.base, loaded.end, image, file < 0});
    libdw()->report_begin_add(engine().reader);
    Dwfl_Module* const added =
        libdw()->report_module(engine().reader, loaded.path, loaded.base, loaded.end);
    libdw()->report_end(engine().reader, nullptr, nullptr);
    return added != nullptr;
}

void add_all_modules()
{
    std::vector<uintptr_t> bases;
    sys::dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* argument)
        {
            const auto* const headers = info->dlpi_phdr;
            for (size_t i = 0; i < info->dlpi_phnum; ++i)
                if (headers[i].p_type == PT_LOAD)
                {
                    static_cast<std::vector<uintptr_t>*>(argument)->push_back(info->dlpi_addr +
                                                                              headers[i].p_vaddr);
                    break;
                }
            return 0;
        },
        &bases);
    for (const uintptr_t base : bases)
    {
        LoadedModule loaded;
        if (module_at(base, loaded) && loaded.path[0] != '\0')
            add_module(loaded, windows_path(loaded.path).c_str());
    }
}

Dwfl_Module* reader_module(DWORD64 address)
{
    return known_module(address) ? libdw()->addrmodule(engine().reader, address) : nullptr;
}

template <size_t size> void copy_name(char (&to)[size], std::string_view text)
{
    const size_t length = std::min(text.size(), size - 1);
    std::memcpy(to, text.data(), length);
    to[length] = '\0';
}

// The file name without its folder and extension.
std::string_view short_name(std::string_view image)
{
    image.remove_prefix(image.find_last_of("\\/") + 1);
    return image.substr(0, image.find('.'));
}

void copy_symbol(std::string name, IMAGEHLP_SYMBOL64& symbol)
{
    name.resize(std::min(name.find('@'), name.size())); // the name may end in a version
    std::unique_ptr<char, void (*)(void*)> plain(nullptr, std::free);
    if (engine().options & SYMOPT_UNDNAME)
        plain.reset(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, nullptr));
    const std::string_view text = plain ? std::string_view(plain.get()) : name;
    const size_t length = std::min<size_t>(text.size(), symbol.MaxNameLength - 1);
    char* const to = reinterpret_cast<char*>(&symbol) + offsetof(IMAGEHLP_SYMBOL64, Name);
    std::memcpy(to, text.data(), length);
    to[length] = '\0';
}

// A call may only return a result and throw nothing. A fault or lack of memory returns zero.
template <class Call> auto guarded(const char* name, Call call) -> decltype(call())
{
    int error = 0;
    if (api_fault(name, error))
    {
        fail_with(static_cast<DWORD>(error));
        return {};
    }
    try
    {
        return call();
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, decltype(call()){});
    }
}

BOOL initialize(HANDLE process, LPCSTR search_path, BOOL invade)
{
    if (process != GetCurrentProcess())
        return fail_with(ERROR_INVALID_HANDLE);
    if (search_path || engine().reader)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (!libdw())
        return fail_with(ERROR_MOD_NOT_FOUND);
    engine().reader = libdw()->begin(&callbacks);
    if (!engine().reader)
        return fail_with(ERROR_NOT_ENOUGH_MEMORY);
    engine().unloaded = unloaded_modules();
    if (invade)
        add_all_modules();
    return TRUE;
}

DWORD64 load_module(HANDLE process, LPCSTR image, DWORD64 base)
{
    LoadedModule loaded;
    if (!ready(process))
        return 0;
    if (!image || !*image || !module_at(base, loaded) || loaded.base != base ||
        loaded.path[0] == '\0')
    {
        fail_with(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    if (!known_module(base) && !add_module(loaded, image))
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return base;
}

BOOL module_info(HANDLE process, DWORD64 address, PIMAGEHLP_MODULE64 info)
{
    if (!info || info->SizeOfStruct != sizeof *info)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (!ready(process))
        return FALSE;
    const KnownModule* const found = known_module(address);
    if (!found)
        return fail_with(ERROR_MOD_NOT_FOUND);
    *info = {};
    info->SizeOfStruct = sizeof *info;
    info->BaseOfImage = found->base;
    info->ImageSize = static_cast<DWORD>(found->end - found->base);
    info->SymType = found->unmatched ? SymExport : SymDeferred;
    info->DbgUnmatched = found->unmatched;
    copy_name(info->ModuleName, short_name(found->image));
    copy_name(info->ImageName, found->image);
    copy_name(info->LoadedImageName, found->image);
    return TRUE;
}

struct FoundSymbol
{
    const char* name = nullptr; // null: none
    uint64_t offset = 0;        // of the address, from the symbol's start
    uint64_t size = 0;          // 0: unknown
};

// From the module's file.
FoundSymbol symbol_in_file(DWORD64 address)
{
    FoundSymbol found;
    GElf_Sym entry{};
    if (Dwfl_Module* const module = reader_module(address))
        found.name = libdw()->module_addrinfo(module, address, &found.offset, &entry, nullptr,
                                              nullptr, nullptr);
    found.size = entry.st_size;
    return found;
}

// From the loader's own table, which is in memory with the module.
FoundSymbol exported_symbol(DWORD64 address)
{
    Dl_info info{};
    void* entry = nullptr;
    FoundSymbol found;
    if (sys::dladdr1(reinterpret_cast<const void*>(address), &info, &entry) == 0 || !entry)
        return found;
    found.name = info.dli_sname;
    found.offset = address - reinterpret_cast<uintptr_t>(info.dli_saddr);
    found.size = static_cast<const Elf64_Sym*>(entry)->st_size;
    return found;
}

BOOL symbol_at(HANDLE process, DWORD64 address, DWORD64* displacement, PIMAGEHLP_SYMBOL64 symbol)
{
    if (!symbol || symbol->SizeOfStruct != sizeof *symbol || symbol->MaxNameLength == 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (!ready(process))
        return FALSE;
    FoundSymbol found = symbol_in_file(address);
    const KnownModule* const module = known_module(address);
    if (!found.name && module && module->unmatched)
        found = exported_symbol(address);
    // The nearest symbol below the address may belong to another function.
    if (!found.name || (found.size != 0 && found.offset >= found.size))
        return fail_with(ERROR_INVALID_ADDRESS);
    symbol->Address = address - found.offset;
    symbol->Size = static_cast<DWORD>(found.size);
    symbol->Flags = 0;
    copy_symbol(found.name, *symbol);
    if (displacement)
        *displacement = found.offset;
    return TRUE;
}

BOOL line_at(HANDLE process, DWORD64 address, LPDWORD displacement, PIMAGEHLP_LINE64 line)
{
    if (!line || line->SizeOfStruct != sizeof *line)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (!ready(process))
        return FALSE;
    Dwfl_Module* const module =
        (engine().options & SYMOPT_LOAD_LINES) ? reader_module(address) : nullptr;
    Dwfl_Line* const found = module ? libdw()->module_getsrc(module, address) : nullptr;
    Dwarf_Addr start = 0;
    int number = 0;
    const char* const file =
        found ? libdw()->lineinfo(found, &start, &number, nullptr, nullptr, nullptr) : nullptr;
    if (!file)
        return fail_with(ERROR_INVALID_ADDRESS);
    engine().line_file = file;
    line->Key = nullptr;
    line->LineNumber = static_cast<DWORD>(number);
    line->FileName = engine().line_file.data();
    line->Address = start;
    if (displacement)
        *displacement = static_cast<DWORD>(address - start);
    return TRUE;
}

} // namespace

extern "C" DWORD SymSetOptions(DWORD options)
try
{
    return engine().options = options;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" DWORD SymGetOptions(void)
try
{
    return engine().options;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" BOOL SymInitialize(HANDLE process, LPCSTR search_path, BOOL invade)
{
    return guarded("SymInitialize", [&] { return initialize(process, search_path, invade); });
}

extern "C" DWORD64 SymLoadModule64(HANDLE process, HANDLE, LPCSTR image, LPCSTR, DWORD64 base,
                                   DWORD)
{
    return guarded("SymLoadModule64", [&] { return load_module(process, image, base); });
}

extern "C" BOOL SymGetModuleInfo64(HANDLE process, DWORD64 address, PIMAGEHLP_MODULE64 info)
{
    return guarded("SymGetModuleInfo64", [&] { return module_info(process, address, info); });
}

extern "C" BOOL SymGetSymFromAddr64(HANDLE process, DWORD64 address, DWORD64* displacement,
                                    PIMAGEHLP_SYMBOL64 symbol)
{
    return guarded("SymGetSymFromAddr64",
                   [&] { return symbol_at(process, address, displacement, symbol); });
}

extern "C" BOOL SymGetLineFromAddr64(HANDLE process, DWORD64 address, LPDWORD displacement,
                                     PIMAGEHLP_LINE64 line)
{
    return guarded("SymGetLineFromAddr64",
                   [&] { return line_at(process, address, displacement, line); });
}

// plinth-trace module: lists the contents of a module file, and puts data files into it or takes
// them out.
//
// Sections, the patch number and the copies use the library's own sources; resources and version
// values use the system's calls.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <windows.h>

#include "commands.h"
#include "dynlib/module_file.h"
#include "failure.h"
#include "plinth_w32_system.h"
#include "resource/resource_copy.h"
#include "terminal.h"
#include "text.h"

namespace trace
{

const char* const module_help =
    "usage: plinth-trace module FILE [OPTION...]\n"
    "\n"
    "Shows the content of a module file (PE; of an ELF file only its resources): sections,\n"
    "resources with type, name, language and size, version values, the patch number.\n"
    "\n"
    "  --add NAME      store a data file in the module, as raw data (RCDATA) in the neutral\n"
    "                  language, replacing a resource of this name\n"
    "  --extract NAME  write such a resource into a data file\n"
    "  --data PATH     the data file\n"
    "\n"
    "NAME is a text, or #N for a number.\n";

namespace
{

// A file from an unknown source may list the same entries over and over.
constexpr size_t most_resources = 100'000;

std::string line_of(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string line_of(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

[[noreturn]] void fail(const std::string& file, DWORD error)
{
    end_if_interrupted();
    throw Failure(exit_failed, "can't open " + file + ": " + error_text(error));
}

class DataModule
{
public:
    explicit DataModule(const std::string& file)
        : m_module(LoadLibraryExW(wide_from_utf8(file).data(), nullptr, LOAD_LIBRARY_AS_DATAFILE))
    {
        if (!m_module)
            fail(file, GetLastError());
    }
    DataModule(const DataModule&) = delete;
    DataModule& operator=(const DataModule&) = delete;
    ~DataModule() { FreeLibrary(m_module); }
    operator HMODULE() const { return m_module; }

private:
    const HMODULE m_module;
};

std::string name_of(LPCWSTR id)
{
    if (!IS_INTRESOURCE(id))
        return printable_name(utf8_from_wide(id));
    std::string number = std::to_string(reinterpret_cast<uintptr_t>(id));
    number.insert(number.begin(), '#');
    return number;
}

std::string type_of(LPCWSTR type)
{
    constexpr struct
    {
        unsigned number;
        const char* name;
    } known[] = {{1, "CURSOR"},   {2, "BITMAP"},        {3, "ICON"},        {4, "MENU"},
                 {5, "DIALOG"},   {6, "STRING"},        {9, "ACCELERATOR"}, {10, "RCDATA"},
                 {11, "MESSAGE"}, {12, "GROUP_CURSOR"}, {14, "GROUP_ICON"}, {16, "VERSION"},
                 {24, "MANIFEST"}};
    if (IS_INTRESOURCE(type))
        for (const auto& each : known)
            if (each.number == reinterpret_cast<uintptr_t>(type))
                return each.name;
    return name_of(type);
}

// The listing of a module's resources, filled by the system's callbacks.
struct Listing
{
    std::string text;
    size_t count = 0;
};

BOOL CALLBACK add_language(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language,
                           LONG_PTR argument)
{
    Listing& listing = *reinterpret_cast<Listing*>(argument);
    const HRSRC found = FindResourceExW(module, type, name, language);
    const DWORD size = found ? SizeofResource(module, found) : 0;
    listing.text +=
        line_of("  %-14s %-32s 0x%04x  ", type_of(type).c_str(), name_of(name).c_str(), language) +
        (found ? std::to_string(size) + " bytes\n" : "damaged\n");
    return ++listing.count < most_resources;
}

BOOL CALLBACK add_name(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR argument)
{
    EnumResourceLanguagesW(module, type, name, add_language, argument);
    return reinterpret_cast<Listing*>(argument)->count < most_resources;
}

BOOL CALLBACK add_type(HMODULE module, LPWSTR type, LONG_PTR argument)
{
    EnumResourceNamesW(module, type, add_name, argument);
    return reinterpret_cast<Listing*>(argument)->count < most_resources;
}

std::string resources_of(HMODULE module)
{
    Listing listing;
    EnumResourceTypesW(module, add_type, reinterpret_cast<LONG_PTR>(&listing));
    if (listing.count == most_resources)
        note("more resources than are shown");
    return listing.count ? "resources\n" + listing.text : "no resources\n";
}

bool add_section(const QvSection& section, void* argument)
{
    *static_cast<std::string*>(argument) +=
        line_of("  %-8s  at 0x%08" PRIx32 "  %" PRIu32 " bytes\n",
                printable_name(section.name).c_str(), section.offset, section.size);
    return true;
}

std::string sections_of(const WideText& file)
{
    std::string text = "sections\n";
    return QvListSections(file.data(), add_section, &text) == QV_OK ? text : std::string();
}

// The values of the version block are asked for by key: these are the usual keys.
constexpr const char* version_keys[] = {
    "FileDescription", "FileVersion",      "ProductName", "ProductVersion", "CompanyName",
    "InternalName",    "OriginalFilename", "Comments",    "LegalCopyright", "PatchNumber"};

class VersionBlock
{
public:
    explicit VersionBlock(const WideText& file)
    {
        m_block.resize(GetFileVersionInfoSizeW(file.data(), nullptr));
        if (!m_block.empty() &&
            !GetFileVersionInfoW(file.data(), 0, static_cast<DWORD>(m_block.size()),
                                 m_block.data()))
            m_block.clear();
    }

    // Null if there is none; size as VerQueryValueW returns it.
    const void* value(const std::string& path, UINT& size) const
    {
        void* found = nullptr;
        size = 0;
        if (m_block.empty() ||
            !VerQueryValueW(m_block.data(), wide_from_utf8(path).data(), &found, &size))
            return nullptr;
        return found;
    }

    std::string text(const std::string& path) const
    {
        UINT size = 0;
        const auto* const found = static_cast<const char*>(value(path, size));
        if (!found)
            return {};
        // The size counts characters, or bytes if the block declares the value as binary.
        const auto there = static_cast<size_t>(m_block.data() + m_block.size() - found);
        WideText text(std::min<size_t>(size, there / sizeof(wchar_t)) + 1, L'\0');
        std::memcpy(text.data(), found, (text.size() - 1) * sizeof(wchar_t));
        return utf8_from_wide(text.data());
    }

private:
    std::vector<char> m_block;
};

std::string version_of(const WideText& file)
{
    const VersionBlock block(file);
    std::string text;
    UINT size = 0;
    if (const void* const value = block.value("\\", size);
        value && size >= sizeof(VS_FIXEDFILEINFO))
    {
        VS_FIXEDFILEINFO fixed;
        std::memcpy(&fixed, value, sizeof fixed);
        text += line_of("  %-18s %u.%u.%u.%u\n", "file",
                        static_cast<unsigned>(fixed.dwFileVersionMS >> 16),
                        static_cast<unsigned>(fixed.dwFileVersionMS & 0xffff),
                        static_cast<unsigned>(fixed.dwFileVersionLS >> 16),
                        static_cast<unsigned>(fixed.dwFileVersionLS & 0xffff));
    }
    // The languages that the block lists, and the language of the patch number.
    std::set<std::string> languages{"040504b0"};
    if (const void* const value = block.value("\\VarFileInfo\\Translation", size))
        for (UINT at = 0; at + 4 <= size && at < 64; at += 4)
        {
            uint16_t pair[2];
            std::memcpy(pair, static_cast<const char*>(value) + at, sizeof pair);
            languages.insert(line_of("%04x%04x", pair[0], pair[1]));
        }
    for (const std::string& language : languages)
        for (const char* const key : version_keys)
            if (const std::string value = block.text("\\StringFileInfo\\" + language + "\\" + key);
                !value.empty())
                text += line_of("  %-18s ", key) + printable_name(value) + "\n";
    return text.empty() ? "no version values\n" : "version\n" + text;
}

void show(const std::string& file)
{
    const WideText path = wide_from_utf8(file);
    std::string text;
    {
        const DataModule module(file);
        text = sections_of(path) + resources_of(module) + version_of(path);
    }
    put(text + "patch number " + std::to_string(QvReadPatchNumber(path.data())) + "\n");
}

} // namespace

int module(Options& options)
{
    const std::optional<std::string> add = options.take_value("--add");
    const std::optional<std::string> extract = options.take_value("--extract");
    const std::optional<std::string> data = options.take_value("--data");
    const std::string file = options.take_word("FILE");
    options.finish();
    if (add && extract)
        options.refuse("--add and --extract are two things");
    if ((add || extract) != data.has_value())
        options.refuse("--add and --extract go with --data");
    if (!data)
    {
        show(file);
        return exit_done;
    }
    const auto copy = add ? QvStoreResource : QvExtractResource;
    const std::string& name = add ? *add : *extract;
    if (const wchar_t* const failure = copy(
            wide_from_utf8(name).data(), wide_from_utf8(file).data(), wide_from_utf8(*data).data()))
    {
        const DWORD error = GetLastError();
        end_if_interrupted();
        throw Failure(exit_failed, file + ": " + utf8_from_wide(failure) + " " + error_text(error));
    }
    return exit_done;
}

} // namespace trace

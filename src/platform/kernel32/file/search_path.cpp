// Full paths and the search along a path.
#include <new>
#include <string>
#include <vector>

#include "kernel32/module/program_file.h"
#include "native_path.h"
#include "path.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

// Absolute, without "." and "..", from the text of the path alone.
std::string full_native(const std::string& path)
{
    std::string whole = path;
    char current[native_path_limit];
    if (whole.empty() || whole.front() != '/')
        whole = (sys::getcwd(current, sizeof current) ? std::string(current) : "") + "/" + whole;
    std::vector<std::string> levels;
    for (size_t at = 0; at < whole.size();)
    {
        size_t end = whole.find('/', at);
        if (end == std::string::npos)
            end = whole.size();
        const std::string level = whole.substr(at, end - at);
        if (level == "..")
        {
            if (!levels.empty())
                levels.pop_back();
        }
        else if (!level.empty() && level != ".")
            levels.push_back(level);
        at = end + 1;
    }
    std::string result;
    for (const std::string& level : levels)
        result += "/" + level;
    return result.empty() ? "/" : result;
}

DWORD give(const std::string& native, DWORD size, LPWSTR buffer, LPWSTR* part)
{
    const DWORD result = copy_to_caller(windows_path(native), buffer, size);
    if (part)
    {
        *part = nullptr;
        if (result < size)
            for (DWORD i = 0; i < result; ++i)
                if (buffer[i] == L'\\')
                    *part = buffer + i + 1;
    }
    return result;
}

bool is_there(const std::string& native)
{
    struct stat found;
    return sys::stat(native.c_str(), &found) == 0;
}

std::vector<std::string> split(const std::string& list, char separator)
{
    std::vector<std::string> parts;
    for (size_t at = 0; at <= list.size();)
    {
        size_t end = list.find(separator, at);
        if (end == std::string::npos)
            end = list.size();
        if (end > at)
            parts.push_back(list.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

// The folders to search: those of a Windows list, or the program's own, the current one and PATH.
std::vector<std::string> folders_of(LPCWSTR path)
{
    std::vector<std::string> folders;
    if (path)
    {
        for (const std::string& item : split(to_utf8(path), ';'))
        {
            std::basic_string<char16_t> wide(wide_from_utf8(item.data(), item.size(), nullptr, 0),
                                             u'\0');
            wide_from_utf8(item.data(), item.size(), reinterpret_cast<wchar_t*>(wide.data()),
                           wide.size());
            const NativePath native(reinterpret_cast<const wchar_t*>(wide.c_str()));
            if (native.ok())
                folders.push_back(native.c_str());
        }
        return folders;
    }
    if (const std::string program = program_path(); !program.empty())
        folders.push_back(program.substr(0, program.rfind('/') + 1));
    if (!has_more_rights())
        folders.push_back("."); // otherwise as the caller chose
    const char* const along = environment("PATH");
    for (const std::string& item : split(along ? along : "", ':'))
        folders.push_back(item);
    return folders;
}

DWORD search(LPCWSTR path, LPCWSTR name, LPCWSTR extension, DWORD size, LPWSTR buffer, LPWSTR* part)
{
    const NativePath wanted(name);
    if (!wanted.ok())
        return 0;
    std::string file = wanted.c_str();
    const size_t base = file.rfind('/');
    if (extension && file.find('.', base == std::string::npos ? 0 : base) == std::string::npos)
        file += to_utf8(extension);
    const bool has_place = file.front() == '/' || name[1] == L':';
    if (has_place)
        return is_there(file) ? give(full_native(file), size, buffer, part)
                              : static_cast<DWORD>(fail_with(ERROR_FILE_NOT_FOUND));
    for (const std::string& folder : folders_of(path))
        if (is_there(folder + "/" + file))
            return give(full_native(folder + "/" + file), size, buffer, part);
    fail_with(ERROR_FILE_NOT_FOUND);
    return 0;
}

} // namespace

extern "C" DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* part)
{
    const NativePath native(path, Names::any);
    if (!native.ok())
        return 0;
    try
    {
        return give(full_native(native.c_str()), size, buffer, part);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, 0);
    }
}

extern "C" DWORD SearchPathW(LPCWSTR path, LPCWSTR name, LPCWSTR extension, DWORD size,
                             LPWSTR buffer, LPWSTR* part)
{
    try
    {
        return search(path, name, extension, size, buffer, part);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, 0);
    }
}

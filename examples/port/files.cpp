#include "files.h"

#include <algorithm>
#include <iterator>

#include <plinth_w32_system.h>

namespace
{

ULONGLONG together(DWORD high, DWORD low)
{
    ULARGE_INTEGER both;
    both.LowPart = low;
    both.HighPart = high;
    return both.QuadPart;
}

SourceFile described(const std::wstring& name, const WIN32_FIND_DATAW& data)
{
    return {name, together(data.nFileSizeHigh, data.nFileSizeLow),
            together(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime)};
}

bool find_below(const std::wstring& folder, const std::wstring& below, const Settings& settings,
                std::vector<SourceFile>& files)
{
    WIN32_FIND_DATAW data;
    const std::wstring pattern = joined(joined(folder, below), L"*");
    const HANDLE search = FindFirstFileW(pattern.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    bool all = true;
    do
    {
        const std::wstring entry = data.cFileName;
        const std::wstring name = joined(below, entry);
        if (entry == L"." || entry == L"..")
            continue;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
            all = find_below(folder, name, settings, files) && all;
        else if (!settings.skips(entry))
            files.push_back(described(name, data));
    } while (FindNextFileW(search, &data));
    FindClose(search);
    return all;
}

bool is_current(const SourceFile& file, const std::wstring& copy)
{
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(copy.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    FindClose(search);
    const SourceFile found = described(file.name, data);
    return found.size == file.size && found.written >= file.written;
}

} // namespace

std::wstring joined(const std::wstring& folder, const std::wstring& name)
{
    if (folder.empty() || name.empty())
        return folder + name;
    const wchar_t last = folder.back();
    return last == L'\\' || last == L'/' ? folder + name : folder + L'\\' + name;
}

bool find_files(const std::wstring& folder, const Settings& settings,
                std::vector<SourceFile>& files)
{
    const bool all = find_below(folder, {}, settings, files);
    std::sort(files.begin(), files.end(),
              [](const SourceFile& a, const SourceFile& b) { return a.name < b.name; });
    return all;
}

std::vector<SourceFile> outdated(const std::vector<SourceFile>& files, const std::wstring& target)
{
    std::vector<SourceFile> result;
    std::copy_if(files.begin(), files.end(), std::back_inserter(result),
                 [&](const SourceFile& file)
                 { return !is_current(file, joined(target, file.name)); });
    return result;
}

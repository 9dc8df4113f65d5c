#include "other_folders.h"

#include <vector>

#include "failure.h"
#include "log_files.h"

namespace trace
{

namespace
{

// The folders in a folder.
std::vector<std::string> folders_in(const std::string& folder)
{
    std::vector<std::string> folders;
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(wide_from_utf8(folder + "\\*").data(), &entry);
    if (search == INVALID_HANDLE_VALUE)
        return folders;
    do
    {
        const std::string name = utf8_from_wide(entry.cFileName);
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && name != "." && name != "..")
            folders.push_back(folder + "\\" + name);
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    return folders;
}

} // namespace

std::string newest_other_folder(uint64_t written)
{
    const std::string usual = default_log_folder(); // MAKER\PRODUCT\Logfiles
    const size_t name = usual.rfind('\\');
    const size_t product = usual.rfind('\\', name - 1);
    std::string newest;
    for (const std::string& other : folders_in(usual.substr(0, product)))
        try
        {
            const std::string folder = other + usual.substr(name);
            const std::vector<LogName> logs = find_logs(folder);
            if (folder == usual || logs.empty() || logs.back().written <= written)
                continue;
            written = logs.back().written;
            newest = folder;
        }
        catch (const Failure&) // another user's folder
        {
        }
    return newest;
}

} // namespace trace

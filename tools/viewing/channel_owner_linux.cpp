// Finds the owner by the files that the user's processes have open. Named events are files of the
// stand-in, which a listener keeps open. Writers, and viewers that check whether the channel is
// free, only open the first of them for a moment.
#include "channel_owner.h"

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <unistd.h>

#include "process_names.h"

namespace trace
{

namespace
{

namespace fs = std::filesystem;

constexpr std::string_view first_object = "/e-DBWIN_BUFFER_READY";
constexpr std::string_view second_object = "/e-DBWIN_DATA_READY";

// Calls use with the path of each file that the process has open, until it returns true.
template <class Use> bool any_open_file(const std::string& process, Use use)
{
    std::error_code error;
    for (fs::directory_iterator entry("/proc/" + process + "/fd", error), end;
         !error && entry != end; entry.increment(error))
    {
        char path[PATH_MAX];
        const ssize_t length = readlink(entry->path().c_str(), path, sizeof path);
        if (length > 0 && use(std::string_view(path, static_cast<size_t>(length))))
            return true;
    }
    return false;
}

bool has_open(const std::string& process, const std::string& file)
{
    return any_open_file(process, [&](std::string_view path) { return path == file; });
}

// The folder of the channel's files; to find it, this process opens one of them.
std::string folder_of_channel()
{
    const HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, "DBWIN_BUFFER_READY");
    if (!event)
        return {};
    std::string folder;
    any_open_file("self",
                  [&](std::string_view path)
                  {
                      if (path.ends_with(first_object))
                          folder = path.substr(0, path.size() - first_object.size());
                      return !folder.empty();
                  });
    CloseHandle(event);
    return folder;
}

} // namespace

std::optional<ChannelOwner> channel_owner()
{
    const std::string folder = folder_of_channel();
    if (folder.empty())
        return std::nullopt;
    const std::string first = folder + std::string(first_object);
    const std::string second = folder + std::string(second_object);
    const std::string own = std::to_string(GetCurrentProcessId());
    std::optional<ChannelOwner> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error))
    {
        const std::string process = entry->path().filename().string();
        if (process.find_first_not_of("0123456789") != std::string::npos || process == own ||
            !has_open(process, first))
            continue;
        const auto id = static_cast<DWORD>(std::strtoul(process.c_str(), nullptr, 10));
        const std::optional<ProcessFacts> facts = facts_of(id);
        found = {id, facts ? facts->name : ""};
        if (has_open(process, second))
            break; // a listener, not a process that only checks
    }
    return found;
}

} // namespace trace

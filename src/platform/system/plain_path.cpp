#include "plain_path.h"

#include <algorithm>
#include <string_view>

#include "calls.h"

namespace platform
{

namespace
{

// Replaces a folder by the folder that contains it. False if it is a link that leads nowhere.
bool go_up(std::string& folder)
{
    struct stat found;
    char target[longest_path];
    if (sys::lstat(folder.c_str(), &found) == 0 && S_ISLNK(found.st_mode))
    {
        if (!sys::realpath(folder.c_str(), target))
            return false;
        folder = target;
    }
    if (!folder.empty())
        folder.erase(folder.rfind('/'));
    return true;
}

} // namespace

std::string plain_path(const std::string& path)
{
    std::string plain;
    for (size_t at = 0; at < path.size();)
    {
        const size_t end = std::min(path.find('/', at), path.size());
        const std::string level = path.substr(at, end - at);
        at = end + 1;
        if (level == "..")
        {
            if (!go_up(plain))
                return "";
        }
        else if (!level.empty() && level != ".")
            plain += "/" + level;
    }
    return plain.empty() ? "/" : plain;
}

} // namespace platform

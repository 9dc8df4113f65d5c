#include "private_folder.h"

#include <atomic>

#include "calls.h"
#include "report.h"

namespace platform
{

namespace
{

constexpr mode_t private_mode = 0700;

// A folder may be checked again and again; its refusal is reported once.
bool was_said(const std::string& folder)
{
    static std::atomic<size_t> all_said[4]; // a process has no more private folders
    const size_t hash = std::hash<std::string>()(folder) | 1;
    for (std::atomic<size_t>& said : all_said)
    {
        size_t expected = 0;
        if (said.compare_exchange_strong(expected, hash))
            return false;
        if (expected == hash)
            return true;
    }
    return true;
}

const char* why_not_private(const std::string& folder)
{
    const int fd = open_judged(folder.c_str(), O_DIRECTORY);
    if (fd < 0)
        return errno == EACCES ? "is a link that somebody else made" : "is not a folder";
    struct stat found;
    const char* reason = nullptr;
    if (sys::fstat(fd, &found) != 0 || found.st_uid != geteuid())
        reason = "belongs to somebody else";
    else if ((found.st_mode & 07777) != private_mode && change_mode(fd, private_mode) != 0)
        reason = "can't be made private";
    sys::close(fd);
    return reason;
}

} // namespace

bool make_private(const std::string& folder)
{
    const char* const reason = why_not_private(folder);
    if (reason && !was_said(folder))
        report("the folder " + folder + " " + reason + " and is not used");
    return !reason;
}

bool is_missing(const std::string& path)
{
    struct stat found;
    return sys::lstat(path.c_str(), &found) != 0 && errno == ENOENT;
}

} // namespace platform

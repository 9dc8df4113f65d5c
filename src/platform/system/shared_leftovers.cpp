#include "shared_leftovers.h"

#include <vector>

#include "descriptor.h"
#include "directory.h"

namespace platform
{

namespace
{

constexpr char root_file[] = "/root";
constexpr size_t hash_digits = 16;

int open_here(const std::string& path, int flags)
{
    return sys::open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600);
}

std::vector<std::string> names_in(const std::string& folder)
{
    std::vector<std::string> names;
    Directory directory(folder.c_str());
    while (const dirent* const entry = directory.next())
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    return names;
}

bool is_own_folder(const std::string& path)
{
    struct stat found;
    return sys::lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
           found.st_uid == geteuid();
}

// Whether the folder names its root, and that root doesn't exist.
bool root_is_gone(const std::string& folder)
{
    char root[longest_path];
    const Descriptor file(open_here(folder + root_file, O_RDONLY));
    const ssize_t size = file < 0 ? -1 : sys::read(file, root, sizeof root - 1);
    if (size <= 0 || root[0] != '/')
        return false;
    root[size] = '\0';
    struct stat found;
    return sys::lstat(root, &found) != 0 && errno == ENOENT;
}

bool anybody_holds(const std::string& path)
{
    const Descriptor file(open_here(path, O_RDWR));
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return file >= 0 &&
           (sys::fcntl_lock(file, F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK);
}

void remove_folder(const std::string& folder)
{
    const std::vector<std::string> names = names_in(folder);
    for (const std::string& name : names)
        if (anybody_holds(folder + "/" + name))
            return;
    for (const std::string& name : names)
        sys::unlink((folder + "/" + name).c_str());
    sys::rmdir(folder.c_str());
}

} // namespace

void name_root_of(const std::string& shared, const std::string& root)
{
    const Descriptor file(open_here(shared + root_file, O_WRONLY | O_CREAT | O_EXCL));
    // A folder without this file is never removed, as those of former versions.
    if (file >= 0)
        (void)sys::write(file, root.data(), root.size());
}

void remove_leftovers(const std::string& beside, const std::string& prefix)
{
    const size_t slash = beside.rfind('/');
    const std::string base = beside.substr(0, slash + 1);
    for (const std::string& name : names_in(base))
        if (name.starts_with(prefix) && name.size() == prefix.size() + hash_digits &&
            base + name != beside && is_own_folder(base + name) && root_is_gone(base + name))
            remove_folder(base + name);
}

} // namespace platform

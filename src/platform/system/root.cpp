// Finds the machine-wide folder and the folder of shared objects.
#include "root.h"

#include <atomic>

#include <cstdio>

#include <pwd.h>

#include "calls.h"
#include "environment.h"
#include "fork.h"
#include "hash.h"
#include "private_folder.h"
#include "shared_leftovers.h"

namespace platform
{

namespace
{

constexpr const char* machine_folder = "/var/lib/plinth";
constexpr const char* shared_memory = "/dev/shm";
constexpr const char* without_shared_memory = "/tmp"; // in some containers

std::string from_environment(const char* name)
{
    const char* const value = environment(name);
    return value ? value : "";
}

std::string without_end_slashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// A relative path must not change its meaning when the process changes its directory.
std::string absolute(const std::string& path)
{
    if (path.front() == '/')
        return path;
    char current[4096];
    return sys::getcwd(current, sizeof current) ? std::string(current) + "/" + path : path;
}

// The mode is for the last folder.
bool make_with_parents(const std::string& path, mode_t mode)
{
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        sys::mkdir(path.substr(0, end).c_str(), 0755);
    return sys::mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
}

std::string own_root()
{
    return without_end_slashes(from_environment("PLINTH_ROOT"));
}

// A folder of the user alone, for users who can't write machine-wide state.
std::string own_state()
{
    std::string state = from_environment("XDG_STATE_HOME");
    if (state.empty() || state.front() != '/')
    {
        const std::string home = home_folder();
        state = home.empty() ? "" : home + "/.local/state";
    }
    return state.empty() ? "" : without_end_slashes(state) + "/plinth";
}

// A folder that can't be made: everything below it counts as missing and can't be written.
constexpr const char* no_folder = "/dev/null/plinth";

std::string find_root()
{
    const std::string named = own_root();
    if (!named.empty())
    {
        std::string root = absolute(named);
        make_with_parents(root, 0755);
        return root;
    }
    if (make_with_parents(machine_folder, 0755) && sys::access(machine_folder, W_OK) == 0)
        return machine_folder;
    if (std::string state = own_state(); !state.empty())
    {
        make_with_parents(state, 0700);
        if (is_missing(state) || make_private(state))
            return state;
    }
    const std::string without_home = "/tmp/.plinth-" + std::to_string(geteuid());
    sys::mkdir(without_home.c_str(), 0700);
    if (!make_private(without_home))
        return no_folder;
    make_with_parents(without_home + "/plinth", 0700);
    return without_home + "/plinth";
}

std::string find_shared()
{
    const char* base = shared_memory;
    if (sys::access(shared_memory, W_OK) != 0)
    {
        // The other folder is used only for errors that all the user's processes get: otherwise
        // this process wouldn't meet the others.
        if (errno != ENOENT && errno != EACCES && errno != EROFS)
            return "";
        base = without_shared_memory;
    }
    const std::string users = "plinth-" + std::to_string(geteuid());
    std::string folder = std::string(base) + "/" + users;
    const std::string root = own_root();
    if (!root.empty())
    {
        char hash[24];
        std::snprintf(hash, sizeof hash, "-%016llx",
                      static_cast<unsigned long long>(fnv1a(absolute(root))));
        folder += hash;
    }
    const bool is_new = sys::mkdir(folder.c_str(), 0700) == 0;
    if (!make_private(folder))
        return "";
    if (is_new && !root.empty())
    {
        name_root_of(folder, absolute(root));
        remove_leftovers(folder, users + "-");
    }
    return folder;
}

} // namespace

std::string home_folder()
{
    std::string home = from_environment("HOME");
    if (!home.empty() && home.front() == '/')
        return without_end_slashes(home);
    passwd entry;
    passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found &&
        found->pw_dir && found->pw_dir[0] == '/' && found->pw_dir[1])
        return found->pw_dir;
    return "";
}

namespace
{

struct Root
{
    const std::string path = find_root();
    Root() { guard_folder(path); }
};

} // namespace

const std::string& root_folder()
{
    static constinit OfProcess<Root> only;
    return only.get().path;
}

// Kept once it has been found: if it fails once, a later call tries again. Two threads may both
// look, and find the same.
const std::string& shared_folder()
{
    static constinit std::atomic<const std::string*> kept{nullptr};
    static constinit OfProcess<std::string> none;
    if (const std::string* const found = kept.load(std::memory_order_acquire)) [[likely]]
        return *found;
    std::string folder = find_shared();
    if (folder.empty())
        return none.get();
    const auto* const mine = new std::string(std::move(folder));
    const std::string* other = nullptr;
    if (kept.compare_exchange_strong(other, mine, std::memory_order_acq_rel))
    {
        guard_folder(*mine);
        return *mine;
    }
    delete mine;
    return *other;
}

} // namespace platform

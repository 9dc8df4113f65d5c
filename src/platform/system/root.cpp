// Finds the machine-wide folder and the folder of shared objects.
#include "root.h"

#include <atomic>

#include <cerrno>
#include <cstdio>
#include <exception>

#include <pwd.h>

#include "calls.h"
#include "environment.h"
#include "fork.h"
#include "hash.h"
#include "plain_path.h"
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

// A folder that can't be made: everything below it counts as missing and can't be written.
constexpr const char* no_folder = "/dev/null/plinth";

// The root that the user names; empty without one.
std::string named_root()
{
    const std::string named = from_environment("PLINTH_ROOT");
    if (named.empty())
        return "";
    std::string path = absolute(named);
    if (path.front() != '/')
        return path;
    const std::string plain = plain_path(path);
    return plain.empty() ? no_folder : plain;
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
    const std::string plain = state.empty() ? "" : plain_path(state);
    return plain.empty() ? "" : plain + "/plinth";
}

// The folder of a user without a home.
std::string state_without_home()
{
    return "/tmp/.plinth-" + std::to_string(geteuid());
}

// Makes the folder, and guards it.
std::string find_root()
{
    if (std::string named = named_root(); !named.empty())
    {
        make_with_parents(named, 0755);
        guard_folder(named, FolderOwner::first);
        return named;
    }
    if (make_with_parents(machine_folder, 0755) && sys::access(machine_folder, W_OK) == 0)
    {
        guard_folder(machine_folder, FolderOwner::first);
        return machine_folder;
    }
    if (std::string state = own_state(); !state.empty())
    {
        make_with_parents(state, 0700);
        if (is_missing(state) || make_private(state))
        {
            guard_folder(state, FolderOwner::user);
            return state;
        }
    }
    const std::string without_home = state_without_home();
    sys::mkdir(without_home.c_str(), 0700);
    if (!make_private(without_home))
        return no_folder;
    guard_folder(without_home, FolderOwner::user);
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
    const std::string root = named_root();
    if (!root.empty())
    {
        char hash[24];
        std::snprintf(hash, sizeof hash, "-%016llx", static_cast<unsigned long long>(fnv1a(root)));
        folder += hash;
    }
    const bool is_new = sys::mkdir(folder.c_str(), 0700) == 0;
    if (!make_private(folder))
        return "";
    if (is_new && !root.empty())
    {
        name_root_of(folder, root);
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

// Guards each folder that find_root would return now or later, without making any.
void guard_possible_roots()
{
    if (const std::string named = named_root(); !named.empty())
    {
        guard_folder(named, FolderOwner::first);
        return;
    }
    guard_folder(machine_folder, FolderOwner::first);
    if (sys::access(machine_folder, W_OK) == 0)
        return;
    if (const std::string state = own_state(); !state.empty())
        guard_folder(state, FolderOwner::user);
    guard_folder(state_without_home(), FolderOwner::user);
}

struct Root
{
    const std::string path = find_root();
};

} // namespace

// Threads may do this at the same time, and guard the same folders.
bool guard_roots()
{
    static constinit std::atomic<bool> done{false};
    if (done.load(std::memory_order_acquire)) [[likely]]
        return true;
    static thread_local bool is_busy = false; // the search itself uses paths
    if (is_busy)
        return true;
    is_busy = true;
    const int error = errno;
    try
    {
        guard_possible_roots();
        done.store(true, std::memory_order_release);
    }
    catch (const std::exception&)
    {
    }
    is_busy = false;
    errno = error;
    return done.load(std::memory_order_relaxed);
}

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
    guard_folder(folder, FolderOwner::user);
    const auto* const mine = new std::string(std::move(folder));
    const std::string* other = nullptr;
    if (kept.compare_exchange_strong(other, mine, std::memory_order_acq_rel))
        return *mine;
    delete mine;
    return *other;
}

} // namespace platform

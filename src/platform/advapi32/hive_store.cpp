#include "hive_store.h"

#include <mutex>

#include "kernel32/file/replacement_file.h"
#include "system/calls.h"
#include "system/directory.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "system/report.h"
#include "system/root.h"
#include "system/timed_lock.h"
#include "system/write_all.h"

namespace platform
{

namespace
{

constexpr const char* root_names[] = {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER",
                                      "HKEY_CLASSES_ROOT", "HKEY_USERS"};
constexpr off_t size_limit = off_t{64} << 20; // bytes of a hive file

// Distinguishes states of a file.
struct Stamp
{
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec written = {};

    bool operator==(const Stamp& other) const
    {
        return exists == other.exists && device == other.device && inode == other.inode &&
               size == other.size && written.tv_sec == other.written.tv_sec &&
               written.tv_nsec == other.written.tv_nsec;
    }
};

struct Cached
{
    std::mutex lock; // guards the rest; never held while another process is waited for
    Stamp stamp;
    std::shared_ptr<const Hive> hive;
};

Cached& cached(HiveId id)
{
    static Cached* const all = new Cached[static_cast<size_t>(HiveId::count)];
    return all[static_cast<size_t>(id)];
}

template <class Action> void for_each_cache(Action action)
{
    for (size_t id = 0; id < static_cast<size_t>(HiveId::count); ++id)
        action(cached(static_cast<HiveId>(id)).lock);
}

const AtFork g_at_fork(ForkStep::hives,
                       {[] { for_each_cache([](std::mutex& lock) { lock.lock(); }); },
                        [] { for_each_cache([](std::mutex& lock) { lock.unlock(); }); }, nullptr});

std::string folder()
{
    return root_folder() + "/registry";
}

const char* root_name(HiveId id)
{
    return root_names[static_cast<size_t>(id)];
}

std::string file_of(HiveId id)
{
    return folder() + "/" + root_name(id) + ".reg";
}

// False if the state can't be read (errno); a missing file is a state like any other.
bool take_stamp(const std::string& path, Stamp& stamp)
{
    struct stat found;
    stamp = {};
    if (sys::stat(path.c_str(), &found) != 0)
        return errno == ENOENT || errno == ENOTDIR;
    stamp = {true, found.st_dev, found.st_ino, found.st_size, found.st_mtim};
    return true;
}

// 0 or an errno.
int read_whole(const std::string& path, off_t size, std::string& content)
{
    if (size > size_limit)
        return EFBIG;
    content.resize(static_cast<size_t>(size));
    const int fd = sys::open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return errno;
    size_t got = 0;
    int error = 0;
    while (got < content.size())
    {
        const ssize_t count = sys::read(fd, content.data() + got, content.size() - got);
        if (count < 0)
            error = errno;
        if (count <= 0)
            break;
        got += static_cast<size_t>(count);
    }
    content.resize(got);
    sys::close(fd);
    return error;
}

// Moves a damaged file aside under a free name, and reports that.
void keep_aside(const std::string& path, size_t line)
{
    const std::string damaged =
        "the registry file " + path + " is damaged (line " + std::to_string(line) + ")";
    for (int number = 1; number < 1000; ++number)
    {
        const std::string aside = path + ".damaged-" + std::to_string(number);
        if (sys::renameat2(path.c_str(), aside.c_str(), RENAME_NOREPLACE) == 0)
        {
            report(damaged + " and is kept as " + aside + "; its settings count as missing");
            return;
        }
        if (errno == ENOENT)
            return; // another process has moved it
        if (errno != EEXIST)
            break;
    }
    report(damaged + " and can't be kept aside; its settings count as missing");
}

// Reads the file into the cache if it has changed. Needs the lock of the cache.
DWORD refresh(HiveId id, Cached& cache)
{
    const std::string path = file_of(id);
    Stamp now;
    if (!take_stamp(path, now))
        return system_error(errno);
    if (cache.hive && now == cache.stamp)
        return 0;
    auto hive = std::make_shared<Hive>();
    (*hive)[""];
    if (now.exists)
    {
        std::string content;
        if (const int error = read_whole(path, now.size, content))
            return system_error(error);
        size_t line = 0;
        if (!parse_reg_text(content, root_name(id), *hive, line))
        {
            keep_aside(path, line);
            hive->clear();
            (*hive)[""];
        }
    }
    cache.stamp = now;
    cache.hive = std::move(hive);
    return 0;
}

// Holds the lock of a hive's writers, between processes.
class WriteLock
{
public:
    // Fails with ETIMEDOUT after the time limit.
    explicit WriteLock(HiveId id)
    {
        // Modes are left to the umask, or to the access list that the root folder hands down: that
        // is how a group shares a registry.
        const int without_folder = sys::mkdir(folder().c_str(), 0777) == 0 ? 0 : errno;
        m_fd = sys::open((file_of(id) + ".lock").c_str(), O_RDWR | O_CREAT, 0666);
        if (m_fd < 0)
        {
            // Without a folder, the reason is the error that kept it from being made.
            m_error = errno == ENOENT && without_folder ? without_folder : errno;
            return;
        }
        m_error = lock_in_turn(change_patience, m_fd);
    }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;
    ~WriteLock()
    {
        if (m_fd < 0)
            return;
        unlock(m_fd, 0, 1);
        sys::close(m_fd);
    }
    int error() const { return m_error; }

private:
    int m_fd = -1;
    int m_error = 0;
};

// Until a new file is complete, its name is the hive file's, this and a random number.
constexpr const char* unfinished = ".new-";
constexpr mode_t hive_mode = 0666; // less the umask

// Removes such files, left by writers that were killed. Needs the lock of the writers.
void remove_unfinished(const std::string& path)
{
    const std::string beginning = path.substr(path.rfind('/') + 1) + unfinished;
    Directory directory(folder().c_str());
    while (const dirent* const entry = directory.next())
        if (std::string_view(entry->d_name).starts_with(beginning))
            sys::unlink((folder() + "/" + entry->d_name).c_str());
}

// 0 or an errno. Needs the lock of the writers.
int replace_hive(const std::string& path, const std::string& content)
{
    remove_unfinished(path);
    ReplacementFile file(path, unfinished, hive_mode);
    if (file.fd() < 0)
        return file.error();
    const int error = write_all(file.fd(), content.data(), content.size());
    return error ? error : file.put_synced();
}

} // namespace

std::shared_ptr<const Hive> read_hive(HiveId id, DWORD& error)
{
    Cached& cache = cached(id);
    const std::lock_guard guard(cache.lock);
    error = refresh(id, cache);
    return error ? nullptr : cache.hive;
}

DWORD change_hive(HiveId id, const std::function<DWORD(Hive&)>& change)
{
    const WriteLock lock(id);
    if (lock.error())
        return system_error(lock.error());
    DWORD error = 0;
    const auto current = read_hive(id, error);
    if (!current)
        return error;
    Hive changed = *current;
    if ((error = change(changed)) != 0)
        return error;
    if (const int failure = replace_hive(file_of(id), write_reg_text(changed, root_name(id))))
        return system_error(failure);
    // The stamp may already belong to a later change; the content is then read again.
    Cached& cache = cached(id);
    const std::lock_guard guard(cache.lock);
    cache.hive = nullptr;
    return 0;
}

} // namespace platform

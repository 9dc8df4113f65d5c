// A new file that takes its place, or replaces another file, in one step when it is complete.
//
// Until then it has no name, if the file system supports that, so that a killed process leaves
// nothing. On other file systems, and at the moment in which it replaces another file, it has a
// temporary name beside the target and a lock that ends with its process. A leftover without its
// process is removed by the next replacement in the same folder.
#pragma once

#include <string>

#include <sys/types.h>

namespace platform
{

class ReplacementFile
{
public:
    // The target's folder must exist. fd() is -1, with error() an errno, if the file can't be made.
    explicit ReplacementFile(const std::string& target);
    // For targets that the caller replaces under a lock of its own. The file has a name from the
    // start (the target's, then the beginning and digits) and no lock. The caller removes what a
    // killed process has left.
    ReplacementFile(const std::string& target, const char* beginning, mode_t mode);
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    // Removes the file unless it was put in its place.
    ~ReplacementFile();

    int fd() const { return m_fd; } // for reading and writing; mode 0600, unless another was given
    int error() const { return m_error; }

    // 0 or an errno: EEXIST if there is a target that must not be replaced.
    int put(bool replaces);
    // The same, but waits until the content is on the disk.
    int put_synced();

private:
    bool open_nameless(const std::string& folder);
    bool open_named();
    bool give_name();

    const std::string m_target;
    std::string m_name; // empty: the file has no name, or is in its place
    const bool m_has_lock;
    int m_fd = -1;
    int m_error = 0;
};

// Renames without replacing. Not every file system supports that in one step. -1 with errno.
int rename_to_new(const char* from, const char* to);

} // namespace platform

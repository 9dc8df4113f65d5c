// A new file that takes the place of another, or of none, in one step when it is complete.
//
// Until then it has no name, where the file system can do that, so that a process that is killed
// leaves nothing. Elsewhere, and for the moment in which it replaces another file, it has a
// temporary name beside the target and a lock that goes with its process. A leftover without its
// process is removed by the next replacement in the same folder.
#pragma once

#include <string>

#include <sys/types.h>

namespace platform
{

class ReplacementFile
{
public:
    // The target's folder must be there. fd() is -1, with error() an errno, if the file can't be
    // made.
    explicit ReplacementFile(const std::string& target);
    // For targets that are replaced under a lock of the caller's alone: has a name from the start,
    // the target's with the beginning and digits after it, and no lock of its own. What a process
    // that was killed has left is the caller's to remove.
    ReplacementFile(const std::string& target, const char* beginning, mode_t mode);
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    // Removes the file unless it was put in its place.
    ~ReplacementFile();

    int fd() const { return m_fd; } // for reading and writing; mode 0600, unless another was given
    int error() const { return m_error; }

    // 0 or an errno: EEXIST if there is a target that must not be replaced.
    int put(bool replaces);
    // The same, for a file whose content is worth waiting for until it is on the disk.
    int put_synced();

private:
    bool open_nameless(const std::string& folder);
    bool open_named();
    bool give_name();

    const std::string m_target;
    std::string m_name; // empty: it has none, or is in its place
    const bool m_has_lock;
    int m_fd = -1;
    int m_error = 0;
};

// Renames without replacing. Not every file system can do that in one step. -1 with errno.
int rename_to_new(const char* from, const char* to);

} // namespace platform

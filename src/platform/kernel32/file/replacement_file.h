// A new file that takes the place of another, or of none, in one step when it is complete.
//
// Until then it has no name, where the file system can do that, so that a process that is killed
// leaves nothing. Elsewhere, and for the moment in which it replaces another file, it has a
// temporary name beside the target and a lock that goes with its process. A leftover without its
// process is removed by the next replacement in the same folder.
#pragma once

#include <string>

namespace platform
{

class ReplacementFile
{
public:
    // The target's folder must be there. fd() is -1, with error() an errno, if the file can't be
    // made.
    explicit ReplacementFile(const std::string& target);
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    // Removes the file unless it was put in its place.
    ~ReplacementFile();

    int fd() const { return m_fd; } // for reading and writing; mode 0600
    int error() const { return m_error; }

    // 0 or an errno: EEXIST if there is a target that must not be replaced.
    int put(bool replaces);

private:
    bool open_nameless(const std::string& folder);
    bool open_named();
    bool give_name();

    const std::string m_target;
    std::string m_name; // empty: it has none, or is in its place
    int m_fd = -1;
    int m_error = 0;
};

// Renames without replacing. Not every file system can do that in one step. -1 with errno.
int rename_to_new(const char* from, const char* to);

} // namespace platform

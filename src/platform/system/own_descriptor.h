// A descriptor of the library's own that stays open for long: the log, a held object, a lock.
//
// The program around it may close all its descriptors, as daemons do, and then get the number for a
// file of its own. So the descriptor is moved to a high number, which programs seldom reach, and
// its file is remembered: if the number belongs to another file, that file is neither written nor
// closed, and our file is opened again.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include <sys/stat.h>

namespace platform
{

// A descriptor of the same open file at a high number: from three quarters of the limit (of 1,024
// at most) on, else the next free one above 2. Negative with errno; fd stays open.
int duplicate_high(int fd);

// Any thread may use it; only one may take or close it.
class OwnDescriptor
{
public:
    // Restores the locks of the first opening on a file that was opened again. False on failure.
    using Prepare = std::function<bool(int fd)>;

    OwnDescriptor() = default;
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;
    ~OwnDescriptor() { close(); }

    // Takes fd over, whose status is found, and moves it up; if that fails it keeps its number.
    // path: where the file can be opened again, null if it can't.
    void take(int fd, const struct stat& found, const char* path = nullptr, Prepare prepare = {});
    bool taken() const { return m_taken; }
    bool is_file(const struct stat& other) const;

    // The number, negative if there is none now. Compared with its file at the first use after a
    // fork; otherwise it costs three loads. Code that uses it for long should call checked_number
    // from time to time.
    int number();
    // The same, after comparing it with its file.
    int checked_number();
    // After a call with a number has failed: whether one more attempt with number() is worth it, as
    // the file has another number now, or the number was closed and is the file's again. Keeps
    // errno.
    bool renewed(int failed);
    // Closes it, unless the number belongs to another file now. 0, or -1 with errno.
    int close();

private:
    bool is_ours(int fd) const;
    int moved_up(int fd) const;
    void look_again();
    int open_anew() const; // negative if the file no longer exists

    std::atomic<int> m_fd{-1};
    std::atomic<uint32_t> m_forks{0};
    bool m_taken = false;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    int m_flags = 0; // of the open file; negative: unknown
    std::unique_ptr<char[]> m_path;
    Prepare m_prepare;
};

} // namespace platform

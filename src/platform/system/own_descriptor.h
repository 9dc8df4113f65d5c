// A descriptor of the library's own that stays open for long: the log, a held object, a lock.
//
// The program around it may close all its descriptors, as daemons do, and get the number again for
// a file of its own. So the descriptor is moved up, where programs seldom count to, and it knows
// its file: what else has the number is neither written to nor closed, and the file is opened anew.
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

// Any thread may use it; taking and closing are for one.
class OwnDescriptor
{
public:
    // Gives a file that was opened anew what its first opening had: locks. False if it can't be.
    using Prepare = std::function<bool(int fd)>;

    OwnDescriptor() = default;
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;
    ~OwnDescriptor() { close(); }

    // Takes fd over, which found describes, and moves it up; where that fails it keeps its number.
    // path: where it is opened anew, null if it can't be.
    void take(int fd, const struct stat& found, const char* path = nullptr, Prepare prepare = {});
    bool taken() const { return m_taken; }
    bool is_file(const struct stat& other) const;

    // The number, negative if there is none now. Compared with its file at the first use after a
    // fork; otherwise three loads. Who keeps it long asks for the checked one from time to time.
    int number();
    // The same, compared now.
    int checked_number();
    // After a call on a number has failed: whether the file has another one now, with which the
    // call is worth another try. Keeps errno if not.
    bool renewed(int failed);
    // Closes it, unless the number is somebody else's now.
    // 0, or -1 with errno.
    int close();

private:
    bool is_ours(int fd) const;
    int moved_up(int fd) const;
    void look_again();
    int open_anew() const; // negative if the file is not there any more

    std::atomic<int> m_fd{-1};
    std::atomic<uint32_t> m_forks{0};
    bool m_taken = false;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    int m_flags = 0; // of the open file; negative: not known
    std::unique_ptr<char[]> m_path;
    Prepare m_prepare;
};

} // namespace platform

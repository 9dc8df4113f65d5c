// Reads commands, one a line: "off REASON" and "restore" for power saving; "interrupt" to have a
// signal interrupt each wait for the bus once from then on; "close" closes all descriptors and
// opens a file of the program's own under their numbers. Carries out each and answers "done", or
// "touched" if something was done to that file. Ends with its input.
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <poll.h>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <plinth_w32_system.h>

#include "support/instead.h"
#include "support/wide_text.h"

namespace
{

bool g_interrupts = false;
std::vector<int> g_own;

void close_all()
{
    constexpr int limit = 900;
    ::close_range(3, ~0U, 0);
    for (int fd = 0; fd < limit && (fd = ::open("/tmp", O_RDWR | O_TMPFILE, 0600)) >= 0;)
        g_own.push_back(fd);
}

bool are_untouched()
{
    struct stat found = {};
    for (const int fd : g_own)
        if (::fstat(fd, &found) != 0 || found.st_size != 0)
            return false;
    return true;
}

} // namespace

// The bus library's wait.
TEST_INSTEAD int ppoll(pollfd* files, nfds_t count, const timespec* time, const sigset_t* mask)
{
    static auto* const real = TEST_REAL(ppoll);
    static bool is_next = false;
    is_next = g_interrupts && !is_next;
    errno = EINTR;
    return is_next ? -1 : real(files, count, time, mask);
}

int main()
{
    std::string line;
    while (std::getline(std::cin, line))
    {
        if (line.starts_with("off "))
            QV_DisableWindowsPowerSave(nullptr, true, test::Wide(line.substr(4)));
        else if (line == "interrupt")
            g_interrupts = true;
        else if (line == "close")
            close_all();
        else
            QV_DisableWindowsPowerSave(nullptr, false, nullptr);
        std::puts(are_untouched() ? "done" : "touched");
        std::fflush(stdout);
    }
}

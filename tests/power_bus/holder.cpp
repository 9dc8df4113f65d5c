// Reads commands, one a line: "off REASON" and "restore" for power saving, "interrupt" to have a
// signal interrupt each wait for the bus once from then on. Carries out each and answers "done".
// Ends with its input.
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <poll.h>
#include <string>

#include <plinth_w32_system.h>

#include "support/instead.h"
#include "support/wide_text.h"

namespace
{

bool g_interrupts = false;

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
        else
            QV_DisableWindowsPowerSave(nullptr, false, nullptr);
        std::puts("done");
        std::fflush(stdout);
    }
}

// A look-up of hosts as the C library's, but with a lock that is held all the time, as one of the
// C library's is for a moment: a child that was forked meanwhile finds it taken.
#include <mutex>
#include <netdb.h>

#include "support/instead.h"

TEST_INSTEAD int gethostbyname_r(const char* name, hostent* entry, char* buffer, size_t size,
                                 hostent** result, int* why)
{
    static constinit std::mutex s_lock;
    static auto* const real = TEST_REAL(gethostbyname_r);
    const std::lock_guard guard(s_lock);
    return real(name, entry, buffer, size, result, why);
}

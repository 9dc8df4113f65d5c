// A look-up of hosts that holds a lock during the whole call, as the C library does for a moment: a
// child that was forked meanwhile finds the lock taken.
#include <mutex>
#include <netdb.h>

#include "support/instead.h"

TEST_INSTEAD int gethostbyname_r(const char* name, hostent* entry, char* buffer, size_t size,
                                 hostent** result, int* why)
{
    static constinit std::mutex lock;
    static auto* const real = TEST_REAL(gethostbyname_r);
    const std::lock_guard guard(lock);
    return real(name, entry, buffer, size, result, why);
}

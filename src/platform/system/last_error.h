// The thread's last error, and the one table from errno to system errors.
#pragma once

#include <cerrno>

#include "windef.h"
#include "winerror.h"

namespace platform
{

// The subject of the failed operation, where one errno means different system errors.
enum class Context
{
    general,
    directory, // EEXIST is 183 (already exists), elsewhere 80 (a file exists)
};

DWORD system_error(int error, Context context = Context::general);

// Sets the last error from an errno and returns FALSE, for `return fail(errno);`.
BOOL fail_errno(int error, Context context = Context::general);
// Sets the last error and returns FALSE.
BOOL fail_with(DWORD error);

} // namespace platform

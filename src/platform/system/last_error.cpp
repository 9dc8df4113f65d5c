// The thread's last error, and the table from errno.
#include "last_error.h"

#include "windows.h"

namespace
{

// In the static block of thread data: reading it costs one instruction.
__attribute__((tls_model("initial-exec"))) thread_local DWORD t_last_error = 0;

} // namespace

extern "C" DWORD GetLastError(void)
{
    return t_last_error;
}

extern "C" void SetLastError(DWORD error)
{
    t_last_error = error;
}

namespace platform
{

DWORD system_error(int error, Context context)
{
    switch (error)
    {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
    case ELOOP:
        return ERROR_ACCESS_DENIED;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    case EEXIST:
        return context == Context::directory ? ERROR_ALREADY_EXISTS : ERROR_FILE_EXISTS;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return ERROR_DISK_FULL;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EFAULT:
        return ERROR_NOACCESS;
    case EINVAL:
    case EOVERFLOW:
        return ERROR_INVALID_PARAMETER;
    case EBUSY:
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EAGAIN:
        return ERROR_LOCK_VIOLATION;
    case EDEADLK:
        return ERROR_POSSIBLE_DEADLOCK;
    case ESPIPE:
        return ERROR_SEEK;
    case EPIPE:
        return ERROR_BROKEN_PIPE;
    case EIO:
        return ERROR_IO_DEVICE;
    case ENODEV:
    case ENXIO:
    case ENOMEDIUM:
        return ERROR_NOT_READY;
    case ENOSYS:
    case EOPNOTSUPP:
        return ERROR_NOT_SUPPORTED;
    case ETIMEDOUT:
        return ERROR_TIMEOUT;
    default:
        return ERROR_GEN_FAILURE;
    }
}

BOOL fail_errno(int error, Context context)
{
    t_last_error = system_error(error, context);
    return FALSE;
}

BOOL fail_with(DWORD error)
{
    t_last_error = error;
    return FALSE;
}

} // namespace platform

// CreateFileW.
//
// The order matters: a file is opened without cutting it, its share modes are claimed, its
// read-only attribute is checked, and only then is it cut.
#include <cstring>
#include <new>

#include "file_object.h"
#include "file_status.h"
#include "mapped_files.h"
#include "native_path.h"
#include "open_claimed.h"
#include "path.h"
#include "share_modes.h"
#include "system/exception_guard.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr mode_t default_mode = 0666; // less the umask
constexpr mode_t owner_only_mode = 0600;

struct Wish
{
    bool reads;
    bool writes;
    bool appends; // appends only, without the right to write elsewhere: each write is an atomic
                  // append
    bool cuts;
    int flags;
    mode_t mode;
};

// A list with entries is taken for the one that the library makes: the current user alone. A null
// list admits every user.
bool is_owner_only(const SECURITY_ATTRIBUTES* security)
{
    if (!security || !security->lpSecurityDescriptor)
        return false;
    const auto* const descriptor =
        static_cast<const SECURITY_DESCRIPTOR*>(security->lpSecurityDescriptor);
    return (descriptor->Control & SE_DACL_PRESENT) != 0 && descriptor->Dacl != nullptr;
}

bool read_wish(DWORD access, DWORD disposition, const SECURITY_ATTRIBUTES* security, Wish& wish)
{
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING)
        return false;
    const bool all = (access & GENERIC_ALL) != 0;
    wish.reads = all || (access & (GENERIC_READ | FILE_READ_DATA)) != 0;
    const bool writes = all || (access & (GENERIC_WRITE | FILE_WRITE_DATA)) != 0;
    wish.appends = !writes && (access & FILE_APPEND_DATA) != 0;
    wish.writes = writes || wish.appends;
    wish.cuts = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
    if (disposition == TRUNCATE_EXISTING && !wish.writes)
        return false;
    // Share modes take read locks, so a descriptor for writing is opened for reading too, where
    // allowed.
    wish.flags =
        (wish.writes || wish.cuts ? O_RDWR : O_RDONLY) | (wish.appends ? O_APPEND : 0) | O_NOCTTY;
    wish.mode = is_owner_only(security) ? owner_only_mode : default_mode;
    return true;
}

bool changes(const Wish& wish)
{
    return wish.writes || wish.cuts;
}

// The status is read if the file is to be changed: see admit.
int open_with(const char* path, const Wish& wish, int flags, struct stat& found)
{
    return sys::open_for_program(path, flags, wish.mode, changes(wish) ? &found : nullptr);
}

int open_existing(const char* path, const Wish& wish, struct stat& found)
{
    const int fd = open_with(path, wish, wish.flags, found);
    if (fd < 0 && errno == EACCES && wish.writes && !wish.reads)
        return open_with(path, wish, (wish.flags & ~O_ACCMODE) | O_WRONLY, found);
    return fd;
}

// Returns a descriptor, or -1 with errno. created is set to whether the file is new.
int open_by_disposition(const char* path, DWORD disposition, const Wish& wish, bool& created,
                        struct stat& found)
{
    created = false;
    if (disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING)
        return open_existing(path, wish, found);
    // It must be known whether the file existed: opening and creating are tried in turn, as another
    // process may make or remove the file in between.
    for (int attempt = 0; attempt < 16; ++attempt)
    {
        if (disposition != CREATE_NEW)
        {
            const int fd = open_existing(path, wish, found);
            if (fd >= 0 || errno != ENOENT)
                return fd;
        }
        const int fd = open_with(path, wish, wish.flags | O_CREAT | O_EXCL, found);
        if (fd >= 0)
        {
            created = true;
            return fd;
        }
        if (errno != EEXIST || disposition == CREATE_NEW)
            return -1;
    }
    return -1;
}

ShareRequest share_request(const Wish& wish, DWORD share, bool overwrites)
{
    return {wish.reads, wish.writes, overwrites, (share & FILE_SHARE_READ) != 0,
            (share & FILE_SHARE_WRITE) != 0};
}

// The checks on an opened descriptor. 0 or a system error; gone: the file is deleted.
//
// The status is needed after the claim, to see whether the file still has its name. A file opened
// only for reading skips the status before the claim; if it then is no regular file, its claim is
// given up.
DWORD admit(ClaimedFile& file, const char* path, struct stat& found, bool created, DWORD share,
            const Wish& wish, bool& gone)
{
    gone = false;
    if (changes(wish) && !S_ISREG(found.st_mode))
        return 0;
    if (changes(wish) && !created && has_no_write_bit(found))
        return ERROR_ACCESS_DENIED; // read-only: enforced here, as root passes the kernel's check
    const DWORD error = file.claim(share_request(wish, share, wish.cuts && !created));
    if (sys::fstat(file, &found) != 0)
        return system_error(errno);
    if (S_ISDIR(found.st_mode))
        return ERROR_ACCESS_DENIED;
    if (!S_ISREG(found.st_mode))
    {
        file.withdraw();
        return 0;
    }
    if (error)
        return error;
    gone = file.lost_its_name(found, path);
    if (!wish.cuts || gone)
        return 0;
    const DWORD refused = created ? 0 : set_length(file, 0);
    if (!wish.reads && !wish.writes)
        file.withdraw(); // only the cutting needed this claim; the handle itself needs none
    return refused;
}

} // namespace

extern "C" HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share,
                              LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD, HANDLE)
try
{
    Wish wish;
    if (!read_wish(access, disposition, security, wish))
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const NativePath native(path);
    if (!native.ok())
        return INVALID_HANDLE_VALUE;

    bool created = false;
    ClaimedFile file;
    struct stat found;
    const DWORD error = open_claimed(
        file,
        [&] { return open_by_disposition(native.c_str(), disposition, wish, created, found); },
        [&](bool& gone) { return admit(file, native.c_str(), found, created, share, wish, gone); });
    if (file < 0 || error)
    {
        file < 0 ? native.fail(errno) : fail_with(error);
        return INVALID_HANDLE_VALUE;
    }
    auto* const object = new (std::nothrow)
        FileObject(std::move(file), wish.reads, wish.writes, S_ISREG(found.st_mode));
    if (object && wish.appends && object->regular())
        object->keep_as_own(found, native.c_str(), share_request(wish, share, false));
    const HANDLE handle = insert_handle(object);
    if (!handle)
        return INVALID_HANDLE_VALUE;
    const bool opened_old =
        !created && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS);
    fail_with(opened_old ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}
catch (const std::exception& exception)
{
    return failed_by(exception, INVALID_HANDLE_VALUE);
}

// The path is UTF-8, the active code page.
extern "C" HANDLE CreateFileA(LPCSTR path, DWORD access, DWORD share,
                              LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD attributes,
                              HANDLE pattern)
{
    wchar_t wide[native_path_limit];
    const size_t length = path ? std::strlen(path) : 0;
    size_t written = 0;
    if (wide_from_utf8(path, length, wide, native_path_limit - 1, &written) > written)
    {
        fail_with(ERROR_FILENAME_EXCED_RANGE);
        return INVALID_HANDLE_VALUE;
    }
    wide[written] = L'\0';
    return CreateFileW(path ? wide : nullptr, access, share, security, disposition, attributes,
                       pattern);
}

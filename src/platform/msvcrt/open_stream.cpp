// Opening a file as a stream of the runtime library.
//
// It is opened as CreateFileW opens one, sharing reading and writing: a file whose writing others
// deny, for instance a module that is open as data, is neither cut nor written.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>

#include <tchar.h>

#include "kernel32/file/file_status.h"
#include "kernel32/file/mapped_files.h"
#include "kernel32/file/native_path.h"
#include "kernel32/file/open_claimed.h"
#include "kernel32/file/share_modes.h"
#include "system/calls.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr mode_t default_mode = 0666; // less the umask

struct OpenMode
{
    bool reads;
    bool writes;
    bool cuts;
    int flags;
    char letters[3];
};

// The letters that matter here: r, w, a, +, x. b and t have no effect, as text is not translated,
// and a coded character set ("ccs=") is not supported.
bool read_mode(const wchar_t* text, OpenMode& mode)
{
    if (!text || (*text != L'r' && *text != L'w' && *text != L'a'))
        return false;
    bool update = false;
    bool exclusive = false;
    for (const wchar_t* at = text + 1; *at && *at != L','; ++at)
    {
        update |= *at == L'+';
        exclusive |= *at == L'x';
    }
    mode.reads = update || *text == L'r';
    mode.writes = update || *text != L'r';
    mode.cuts = *text == L'w';
    mode.flags = O_NOCTTY | (*text == L'a' ? O_APPEND : 0);
    if (*text != L'r')
        mode.flags |= O_CREAT | (exclusive ? O_EXCL : 0);
    mode.letters[0] = static_cast<char>(*text);
    mode.letters[1] = update ? '+' : '\0';
    mode.letters[2] = '\0';
    return true;
}

// Share modes take read locks, so a file opened for writing is opened for reading too, where that
// is allowed. A pipe isn't: opened for both it wouldn't wait for its reader.
int open_for(const char* path, const OpenMode& mode, bool file)
{
    if (!mode.writes)
        return sys::open_for_program(path, mode.flags | O_RDONLY);
    if (mode.reads || file)
    {
        const int fd = sys::open_for_program(path, mode.flags | O_RDWR, default_mode);
        if (fd >= 0 || mode.reads || errno != EACCES)
            return fd;
    }
    return sys::open_for_program(path, mode.flags | O_WRONLY, default_mode);
}

// 0, or the errno with which an opened descriptor is refused; gone: the file has been deleted.
int admit(ClaimedFile& opened, const char* path, const OpenMode& mode, bool& file, bool& gone)
{
    struct stat found;
    if (sys::fstat(opened, &found) != 0)
        return errno;
    file = S_ISREG(found.st_mode);
    if (!file)
        return 0;
    if (const DWORD error = opened.claim({mode.reads, mode.writes, mode.cuts, true, true}))
    {
        fail_with(error); // more exact than the errno
        return EACCES;
    }
    gone = sys::fstat(opened, &found) == 0 && opened.lost_its_name(found, path);
    return 0;
}

// Opens a path unless it is a folder or, for writing, read-only. -1 with errno.
int open_allowed(const char* path, const OpenMode& mode)
{
    struct stat found;
    const bool exists = sys::stat(path, &found) == 0;
    if (exists && (S_ISDIR(found.st_mode) || (mode.writes && has_no_write_bit(found))))
    {
        errno = EACCES;
        return -1;
    }
    return open_for(path, mode, !exists || S_ISREG(found.st_mode));
}

// A descriptor, or -1 with errno; file is set to whether it is an ordinary file.
int open_for_stream(const char* path, const OpenMode& mode, bool& file)
{
    ClaimedFile opened;
    const int error = open_claimed(
        opened, [&] { return open_allowed(path, mode); },
        [&](bool& gone) { return admit(opened, path, mode, file, gone); });
    if (opened < 0)
        return -1;
    if (!error)
        return opened.release();
    opened.close();
    errno = error;
    return -1;
}

} // namespace

extern "C" FILE* plinth_crt_wfopen(const wchar_t* path, const wchar_t* mode)
{
    const NativePath native(path);
    OpenMode wanted;
    if (!native.ok() || !read_mode(mode, wanted))
    {
        errno = native.ok() ? EINVAL : ENOENT;
        return nullptr;
    }
    bool file = false;
    const int fd = open_for_stream(native.c_str(), wanted, file);
    if (fd < 0)
        return nullptr;
    FILE* const stream = sys::fdopen(fd, wanted.letters);
    // Cut last, so that an earlier failure leaves the content.
    const DWORD refused = stream && wanted.cuts && file ? set_length(fd, 0) : 0;
    if (stream && !refused)
        return stream;
    const int error = refused == ERROR_USER_MAPPED_FILE ? EINVAL : errno;
    if (stream)
        std::fclose(stream);
    else
        sys::close(fd);
    errno = error;
    return nullptr;
}

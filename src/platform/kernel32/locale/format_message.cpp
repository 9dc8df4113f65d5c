// The texts of system errors.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

struct Message
{
    DWORD error;
    const char* text; // without the line end that the system's texts have
};

// Ordered by number.
constexpr Message messages[] = {
    {ERROR_SUCCESS, "The operation completed successfully."},
    {ERROR_INVALID_FUNCTION, "Incorrect function."},
    {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified."},
    {ERROR_PATH_NOT_FOUND, "The system cannot find the path specified."},
    {ERROR_TOO_MANY_OPEN_FILES, "The system cannot open the file."},
    {ERROR_ACCESS_DENIED, "Access is denied."},
    {ERROR_INVALID_HANDLE, "The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory is available to process this command."},
    {ERROR_INVALID_ACCESS, "The access code is invalid."},
    {ERROR_INVALID_DATA, "The data is invalid."},
    {ERROR_OUTOFMEMORY, "Not enough storage is available to complete this operation."},
    {ERROR_INVALID_DRIVE, "The system cannot find the drive specified."},
    {ERROR_CURRENT_DIRECTORY, "The directory cannot be removed."},
    {ERROR_NOT_SAME_DEVICE, "The system cannot move the file to a different disk drive."},
    {ERROR_NO_MORE_FILES, "There are no more files."},
    {ERROR_WRITE_PROTECT, "The media is write protected."},
    {ERROR_NOT_READY, "The device is not ready."},
    {ERROR_SEEK, "The drive cannot locate a specific area or track on the disk."},
    {ERROR_WRITE_FAULT, "The system cannot write to the specified device."},
    {ERROR_READ_FAULT, "The system cannot read from the specified device."},
    {ERROR_GEN_FAILURE, "A device attached to the system is not functioning."},
    {ERROR_SHARING_VIOLATION, "The process cannot access the file because it is being used by "
                              "another process."},
    {ERROR_LOCK_VIOLATION, "The process cannot access the file because another process has locked "
                           "a portion of the file."},
    {ERROR_HANDLE_EOF, "Reached the end of the file."},
    {ERROR_NOT_SUPPORTED, "The request is not supported."},
    {ERROR_FILE_EXISTS, "The file exists."},
    {ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
    {ERROR_BROKEN_PIPE, "The pipe has been ended."},
    {ERROR_DISK_FULL, "There is not enough space on the disk."},
    {ERROR_CALL_NOT_IMPLEMENTED, "This function is not supported on this system."},
    {ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small."},
    {ERROR_INVALID_NAME, "The filename, directory name, or volume label syntax is incorrect."},
    {ERROR_MOD_NOT_FOUND, "The specified module could not be found."},
    {ERROR_PROC_NOT_FOUND, "The specified procedure could not be found."},
    {ERROR_NEGATIVE_SEEK, "An attempt was made to move the file pointer before the beginning of "
                          "the file."},
    {ERROR_DIR_NOT_EMPTY, "The directory is not empty."},
    {ERROR_NOT_LOCKED, "The segment is already unlocked."},
    {ERROR_BUSY, "The requested resource is in use."},
    {ERROR_ALREADY_EXISTS, "Cannot create a file when that file already exists."},
    {ERROR_BAD_EXE_FORMAT, "The file is not a valid application."},
    {ERROR_FILENAME_EXCED_RANGE, "The filename or extension is too long."},
    {ERROR_FILE_TOO_LARGE, "The file size exceeds the limit allowed and cannot be saved."},
    {ERROR_MORE_DATA, "More data is available."},
    {ERROR_NO_MORE_ITEMS, "No more data is available."},
    {ERROR_DIRECTORY, "The directory name is invalid."},
    {ERROR_MR_MID_NOT_FOUND, "The system cannot find message text for this message number."},
    {ERROR_INVALID_ADDRESS, "Attempt to access invalid address."},
    {ERROR_OPERATION_ABORTED, "The I/O operation has been aborted."},
    {ERROR_NOACCESS, "Invalid access to memory location."},
    {ERROR_FILE_INVALID, "The volume for a file has been externally altered so that the opened "
                         "file is no longer valid."},
    {ERROR_BADDB, "The configuration registry database is corrupt."},
    {ERROR_BADKEY, "The configuration registry key is invalid."},
    {ERROR_CANTREAD, "The configuration registry key could not be read."},
    {ERROR_CANTWRITE, "The configuration registry key could not be written."},
    {ERROR_NO_UNICODE_TRANSLATION, "No mapping for the Unicode character exists in the target "
                                   "code page."},
    {ERROR_IO_DEVICE, "The request could not be performed because of an I/O device error."},
    {ERROR_POSSIBLE_DEADLOCK, "A potential deadlock condition has been detected."},
    {ERROR_MAPPED_ALIGNMENT, "The base address or the file offset specified does not have the "
                             "proper alignment."},
    {ERROR_UNKNOWN_REVISION, "The revision level is unknown."},
    {ERROR_NONE_MAPPED, "No mapping between account names and security IDs was done."},
    {ERROR_INVALID_SECURITY_DESCR, "The security descriptor structure is invalid."},
    {ERROR_INVALID_WINDOW_HANDLE, "Invalid window handle."},
    {ERROR_NO_SYSTEM_RESOURCES, "Insufficient system resources exist to complete the requested "
                                "service."},
    {ERROR_TIMEOUT, "This operation returned because the timeout period expired."},
    {ERROR_RESOURCE_DATA_NOT_FOUND, "The specified image file did not contain a resource section."},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, "The specified resource type cannot be found in the image "
                                    "file."},
    {ERROR_RESOURCE_NAME_NOT_FOUND, "The specified resource name cannot be found in the image "
                                    "file."},
    {ERROR_RESOURCE_LANG_NOT_FOUND, "The specified resource language ID cannot be found in the "
                                    "image file."},
};

static_assert(std::is_sorted(std::begin(messages), std::end(messages),
                             [](const Message& a, const Message& b) { return a.error < b.error; }));

constexpr size_t text_limit = 256;

// The text of a message with its line end. 0 with the last error if there is no such text, or no
// room.
template <class Char, class Convert>
DWORD format(DWORD flags, DWORD message, Char* buffer, DWORD size, Convert convert)
{
    const auto found =
        std::lower_bound(std::begin(messages), std::end(messages), message,
                         [](const Message& each, DWORD number) { return each.error < number; });
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || found == std::end(messages) ||
        found->error != message)
        return static_cast<DWORD>(fail_with(ERROR_MR_MID_NOT_FOUND));

    Char text[text_limit];
    size_t length = convert(found->text, text, text_limit - 3);
    text[length++] = '\r';
    text[length++] = '\n';
    text[length++] = '\0';

    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer points to a pointer that receives the text.
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER)
    {
        void* const memory = LocalAlloc(LMEM_FIXED, std::max<size_t>(length, size) * sizeof *text);
        if (!memory)
            return 0;
        std::memcpy(memory, text, length * sizeof *text);
        std::memcpy(buffer, &memory, sizeof memory);
    }
    else if (length > size)
        return static_cast<DWORD>(fail_with(ERROR_INSUFFICIENT_BUFFER));
    else
        std::memcpy(buffer, text, length * sizeof *text);
    return static_cast<DWORD>(length - 1);
}

} // namespace

extern "C" DWORD FormatMessageW(DWORD flags, LPCVOID, DWORD message, DWORD, LPWSTR buffer,
                                DWORD size, void*)
{
    return format(flags, message, buffer, size,
                  [](const char* from, wchar_t* to, size_t room)
                  {
                      size_t length = 0;
                      wide_from_utf8(from, std::strlen(from), to, room, &length);
                      return length;
                  });
}

extern "C" DWORD FormatMessageA(DWORD flags, LPCVOID, DWORD message, DWORD, LPSTR buffer,
                                DWORD size, void*)
{
    return format(flags, message, buffer, size,
                  [](const char* from, char* to, size_t room)
                  { return std::string_view(from).copy(to, room); });
}

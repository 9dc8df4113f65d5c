// Files, directories, storage folders, mapped files, and asynchronous transfers.
#ifndef PLINTH_W32_SYSTEM_FILES_H
#define PLINTH_W32_SYSTEM_FILES_H

#include <cstdint>
#include <ctime>

#include "base.h"

// -------------------------------------------------------------------------------------- files --

// An open file: the system's own handle, so a QvFile may be used as a system handle and the
// reverse.
typedef HANDLE QvFile;

// A running directory search: the system's search handle.
typedef HANDLE QvFindHandle;

// The callbacks of asynchronous transfers. Such a transfer moves 4,096 bytes at a time and calls
// back after each block:
//
// - QV_ERR_INPROGRESS: a block has been moved; another callback follows, unless QV_CancelAsyncIO
//   comes first. Any other status is the last callback, except for the two failures of a copy that
//   QV_CopyFile names.
// - QV_OK: the transfer has ended. A read or copy may have ended before the requested or last known
//   size: at the end of the file.
// - a failure: that of the block; blocks moved before it stay moved.
//
// A callback runs on a thread of the library, which does nothing else meanwhile. It has to be short
// and must not throw (that ends the process). It must neither start or cancel an asynchronous
// transfer (such calls return QV_ERR_SYSTEM) nor wait for a thread that does. Callbacks of one
// transfer come one after the other, those of several transfers at the same time.

// Completion of an asynchronous read or write: status, bytes moved so far, the caller's context.
typedef void (*QvIoCompletion)(int status, uint64_t done, void* context);

// Completion of an asynchronous copy: status, the source's size, bytes copied so far, context.
typedef void (*QvCopyCompletion)(int status, uint64_t size, uint64_t copied, void* context);

// Makes a transfer asynchronous. Read during the call and not kept. completion may be null.
struct QvAsyncIo
{
    uint64_t offset;           // position of the first byte in the file
    void* context;             // handed to the callback
    QvIoCompletion completion; // called after each block
};

// One directory entry. The caller sets the three pointers before the call, null to skip a time.
struct QvFindData
{
    struct tm* creationTime; // in: where to store it; local time
    struct tm* accessTime;   // the same
    struct tm* writeTime;    // the same
    uint64_t size;           // bytes
    wchar_t name[260];       // without the directory
    bool isDirectory;        // not a file
};

// A volume. The caller sets name, nameSize, extra and extraSize.
struct QvVolumeInfo
{
    uint32_t type;      // out: 0 unknown, 1 no root directory, 2 removable, 3 fixed, 4 remote,
                        // 5 CD-ROM, 6 RAM disk
    wchar_t* name;      // buffer for the display name, may be null
    uint32_t nameSize;  // its size in characters, not 0 if name is given
    wchar_t* extra;     // a second buffer, may be null; receives an empty text
    uint32_t extraSize; // its size in characters
    uint32_t flags;     // out: 0
};

extern "C"
{
    // Opens a file; *file is the caller's until QV_CloseFile. access: QvOpenFlag bits, share:
    // QvShareFlag bits (0: no other handle may open it), security: a QvSecurity value.
    // QV_ERR_NULLPTR: file is null. QV_ERR_BADARG: another security value. QV_ERR_SYSTEM: the
    // owner-only descriptor could not be created. QV_ERR_OPENFILE: the file could not be opened. On
    // failure *file is unchanged.
    QV_API int QV_OpenFile(const wchar_t* path, unsigned int access, unsigned int share,
                           int security, QvFile* file);

    // Also ends the file's share modes and locked ranges, even if views or, on Linux, forked
    // children still have the file open. QV_ERR_CLOSEFILE if the handle is not open.
    QV_API int QV_CloseFile(QvFile file);

    // Moves up to size bytes (64 bits) at the file's position, which all users of the handle share.
    // *done, if given, receives the number of bytes moved, also on failure. Moving fewer bytes than
    // requested is no failure: a read at the end returns QV_OK and a smaller *done.
    // QV_ERR_READFILE; QV_ERR_WRITEFILE, or QV_ERR_DISKFULL for a full disk.
    //
    // With async (null: none) the call only queues the transfer, leaves *done unchanged, and
    // returns QV_OK, or QV_ERR_SYSTEM if there is no thread or memory for it; then it never calls
    // back. The callback receives the result: the statuses above and QV_ERR_SEEKFILE. A read beyond
    // the end of the file ends with QV_OK and the bytes before the end; a read of 0 bytes calls
    // back once. Keep the buffer valid and the file open until the last callback or
    // QV_CancelAsyncIO. A transfer sets the handle's position: only one at a time on a handle.
    //
    // When the process ends or the library is unloaded, transfers end after the current block,
    // without a last callback. At exit the library waits up to 3,000 ms for a running callback, at
    // unload without a limit (on Windows the program must have no transfer or running callback
    // then).
    QV_API int QV_ReadFile(QvFile file, void* buffer, uint64_t size, uint64_t* done,
                           const QvAsyncIo* async);
    QV_API int QV_WriteFile(QvFile file, const void* buffer, uint64_t size, uint64_t* done,
                            const QvAsyncIo* async);

    // Moves the file's position by a signed offset from the start (whence 0), the position (1) or
    // the end (2). QV_ERR_SEEKFILE for another whence and for a position before the start.
    QV_API int QV_SeekFile(QvFile file, int64_t offset, int whence);

    // QV_ERR_NULLPTR: position is null. QV_ERR_FILEPOSITION: then *position is 0.
    QV_API int QV_FilePosition(QvFile file, uint64_t* position);

    // Cuts or extends the file to its position. QV_ERR_SETEOF.
    QV_API int QV_SetEOF(QvFile file);

    // Locks a byte range for this handle only, or fails at once; the range may be beyond the end.
    // QV_ERR_LOCKFILE, QV_ERR_UNLOCKFILE. On Linux the lock stops other handles from locking, but
    // not from reading and writing.
    QV_API int QV_LockFile(QvFile file, uint64_t offset, uint64_t length);
    QV_API int QV_UnlockFile(QvFile file, uint64_t offset, uint64_t length);

    // Sets the given times, broken-down local time with a resolution of seconds; null leaves a time
    // unchanged. QV_ERR_NULLPTR: a time that does not exist; then none is set. QV_ERR_TOUCHFILE.
    QV_API int QV_TouchFile(QvFile file, const struct tm* creation, const struct tm* access,
                            const struct tm* write);

    // Returns the requested times, with all fields of struct tm set and tm_isdst -1.
    // QV_ERR_FILETIMES; QV_ERR_SYSTEM if a time does not convert (times stored before it stay).
    QV_API int QV_GetFileTimes(QvFile file, struct tm* creation, struct tm* access,
                               struct tm* write);

    // Waits for the current block, then removes the asynchronous reads and writes on the file: they
    // make no callback afterwards. Copies continue. Also for a file without transfers: callbacks
    // that began before this call have returned after it. QV_OK.
    QV_API int QV_CancelAsyncIO(QvFile file);

    // The size in bytes; *size, which may be null, is 0 on failure. QV_ERR_FILESIZE.
    QV_API int QV_GetFileSize(QvFile file, uint64_t* size);

    // The same by name. The status of QV_OpenFile or QV_GetFileSize.
    QV_API int QV_GetFileSizeFromName(const wchar_t* path, uint64_t* size);

    // Checks whether a path exists (QV_ERR_ACCESS if not) and, with bit 0x02 of mode, whether its
    // read-only attribute allows writing (QV_ERR_READONLY); for files and folders.
    QV_API int QV_AccessFile(const wchar_t* path, int mode);

    // ------------------------------------------------------------------------ file operations --

    // Copies a file. failIfExists not 0 forbids overwriting. QV_ERR_FILEEXISTS, QV_ERR_ACCESS,
    // QV_ERR_COPYFILE.
    //
    // With proceed or completion the call opens both files, shared, queues the copy and returns
    // QV_OK. On failure it never calls back and returns QV_ERR_OPENFILE (also for a target that
    // exists and may not be overwritten), or QV_ERR_SYSTEM without a thread or memory. Only bytes
    // are copied, and the target keeps what was written, whatever ends the copy.
    //
    // proceed: null, or the caller's word, aligned, valid until the last callback; 0 in it ends the
    // copy with QV_ERR_CANCELLED after the next full block. The callback receives the result:
    // QV_ERR_WRITEFILE or QV_ERR_DISKFULL as the last; QV_ERR_FILESIZE (size 0) and QV_ERR_READFILE
    // are followed by others, as the copy continues with all that it can read and ends with QV_OK
    // where it can't read anything. The files are closed directly after the last callback:
    // QV_CancelAsyncIO, on any file, waits for that.
    QV_API int QV_CopyFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves a file. Between volumes it is copied, with the last three arguments and the status of
    // QV_CopyFile, and the source stays. QV_ERR_ACCESS, QV_ERR_SHARING, QV_ERR_MOVEFILE.
    QV_API int QV_MoveFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves target to backup, replacing an earlier backup, then replacement to target. The status
    // of the failed move; if it was the second, the old file keeps the backup's name.
    QV_API int QV_ReplaceFile(const wchar_t* replacement, const wchar_t* target,
                              const wchar_t* backup, const volatile uint32_t* proceed,
                              QvCopyCompletion completion, void* context);

    // Removes a file, also a read-only one. With strict 0 a missing file is success.
    // QV_ERR_ACCESS, QV_ERR_REMOVEFILE.
    QV_API int QV_RemoveFile(const wchar_t* path, int strict);

    // Searches a file in path (null: the system's places) and returns its full path. extension:
    // null, or added with its dot to names without one. If the path doesn't fit, the call succeeds
    // and the system decides what the buffer holds. QV_ERR_SEARCHPATH.
    QV_API int QV_SearchPath(const wchar_t* path, const wchar_t* name, const wchar_t* extension,
                             wchar_t* buffer, unsigned int size);

    // Searches a directory by a pattern with * and ?. Entries are sorted by name without regard to
    // case, and include "." and "..". *handle is the caller's until QV_FindFileClose; data may be
    // null. QV_ERR_NULLPTR: handle is null. QV_ERR_FINDFIRST, QV_ERR_FINDNEXT. QV_ERR_SYSTEM: a
    // time did not convert; the search continues, and a stored handle must be closed.
    QV_API int QV_FindFileFirst(const wchar_t* pattern, QvFindHandle* handle, QvFindData* data);
    QV_API int QV_FindFileNext(QvFindHandle handle, QvFindData* data);
    QV_API int QV_FindFileClose(QvFindHandle handle); // QV_ERR_FINDCLOSE

    // ------------------------------------------------------------------------- access rights --

    // Part of the interface, but change nothing. Get always returns QV_ERR_BADARG and ignores
    // its arguments. Set reports whether the user's account and the file's access list can be read:
    // QV_ERR_BADARG if they can, QV_ERR_ACCESSRIGHTS if not, as for a missing file or one without a
    // list, QV_ERR_NOSYMBOL if the system lacks a function for it.
    QV_API int QV_GetAccessRights(const wchar_t* path, unsigned int* rights);
    QV_API int QV_SetAccessRights(const wchar_t* path, unsigned int rights);

    // ---------------------------------------------------------------------------- directories --

    // Creates a directory, with its parents if recursive is not 0; an existing one is success.
    // Parents are created for the first 259 characters of the path. security is ignored.
    // QV_ERR_CREATEDIR.
    QV_API int QV_CreateDirectory(const wchar_t* path, int recursive, int security);

    QV_API int QV_RemoveDirectory(const wchar_t* path); // must be empty; QV_ERR_REMOVEDIR

    // Removes a directory with its content, except entries whose name begins with a dot. A path of
    // up to 259 characters. QV_ERR_SYSTEM: an empty path. QV_ERR_REMOVEDIR: something is left.
    QV_API int QV_RemoveDirectoryRecursively(const wchar_t* path);

    // Tests whether files can be created in a directory, by creating one: in the directory itself
    // if the path ends in a separator, otherwise beside the path's last component.
    QV_API bool QV_IsDirectoryWritable(const wchar_t* path);

    // A buffer that is too small is success and is not changed. QV_ERR_GETCURDIR.
    QV_API int QV_GetCurrentDirectory(wchar_t* buffer, unsigned int size);
    QV_API int QV_SetCurrentDirectory(const wchar_t* path); // QV_ERR_SETCURDIR

    // Bytes of a volume: free for the caller, total, total free; each may be null.
    // QV_ERR_DISKSPACE.
    QV_API int QV_GetDiskSpaces(const wchar_t* path, uint64_t* freeToCaller, uint64_t* total,
                                uint64_t* totalFree);

    // Sets the temporary path of the process, at most 259 characters, empty to clear it; call this
    // before other threads use it. QV_ERR_SYSTEM: too long; then the path is cleared.
    QV_API int QV_SetRequestedTempPath(const wchar_t* path);

    // The requested temporary path if it fits, else the system's, with a separator at its end.
    // QV_ERR_TEMPPATH.
    QV_API int QV_GetTempPath(wchar_t* buffer, unsigned int size);

    // Finds a free name in a directory (null: QV_GetTempPath) from a pattern in which each run of
    // '$' is replaced by a random number of at least so many digits. With create not 0 an empty
    // file is created. After 32,768 used or unreachable names it returns QV_ERR_OPENFILE; result
    // then holds the last name tried. QV_ERR_TEMPPATH, and those of QV_OpenFile.
    QV_API int QV_GetTempFileName(const wchar_t* directory, const wchar_t* pattern, int create,
                                  wchar_t* result, unsigned int resultSize);

    // The roots of the logical drives, each terminated, and one more terminator at the end.
    // QV_ERR_DRIVESTRINGS; QV_ERR_BUFFERSMALL with the required size in *needed, if given.
    QV_API int QV_GetLogicalDriveStrings(wchar_t* buffer, unsigned int size, unsigned int* needed);

    // Type and display name of a volume. QV_ERR_NULLPTR, QV_ERR_VOLUMEINFO.
    QV_API int QV_GetVolumeInformation(const wchar_t* root, QvVolumeInfo* info);

    // Not implemented and ignores its arguments: always QV_ERR_NOTIMPL.
    QV_API int QV_GetUNCPath(const wchar_t* path, wchar_t* buffer, unsigned int size);

    // ------------------------------------------------------------------------ storage folders --

    // Where an application keeps its data: a known system folder (CSIDL number, at first
    // CSIDL_COMMON_APPDATA), a folder in it (at first "Quorvane\Default"), and in that a user's
    // folder (at first none). Texts of at most 259 characters; a longer one is cut. Set them before
    // other threads use them. Always QV_OK.
    QV_API int QV_SetStorageFolder(const wchar_t* folder, unsigned int csidl);
    QV_API int QV_SetStorageUser(const wchar_t* user);

    // The library's own texts, which change at the next set. csidl may be null.
    QV_API const wchar_t* QV_GetStorageFolder(unsigned int* csidl);
    QV_API const wchar_t* QV_GetStorageUser(void);

    // The storage path, without a separator at its end; the directory is not created. A buffer that
    // is too short is filled without a terminator. QV_ERR_NULLPTR: not a known folder.
    // QV_ERR_SYSTEM: the system could not return it, or the whole exceeds 263 characters.
    QV_API int QV_GetStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // Its parent. Always QV_OK; an empty text if there is no storage path.
    QV_API int QV_GetRootStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // --------------------------------------------------------------------------- mapped files --

    // Maps a part of a file from any byte offset; offset 0 with size 0 maps the whole file.
    // *address points at the first requested byte and stays valid after the file is closed, until
    // QV_UnmapFile. With QV_MAP_WRITE a part beyond the end extends the file. QV_ERR_NULLPTR:
    // address is null, or an unknown mode. QV_ERR_SYSTEM, QV_ERR_FAILED.
    QV_API int QV_MapFile(QvFile file, unsigned int mode, uint64_t offset, uint64_t size,
                          void** address);

    // size is not used. QV_ERR_NULLPTR: address is null. QV_ERR_SYSTEM: nothing is mapped there.
    QV_API int QV_UnmapFile(void* address, uint64_t size);
}

#endif

// Files, directories, storage folders, mapped files, and asynchronous transfers.
#ifndef PLINTH_W32_SYSTEM_FILES_H
#define PLINTH_W32_SYSTEM_FILES_H

#include <cstdint>
#include <ctime>

#include "base.h"

// -------------------------------------------------------------------------------------- files --

// An open file: the system's own handle, so that a QvFile may be given to the system and back.
typedef HANDLE QvFile;

// A running directory search: the system's search handle.
typedef HANDLE QvFindHandle;

// The callbacks of asynchronous transfers. Such a transfer moves 4,096 bytes at a time and calls
// back after each block:
//
// - QV_ERR_INPROGRESS: a block is done, another callback will come, unless QV_CancelAsyncIO comes
//   first. Any other status is the last callback, but for the two failures of a copy that
//   QV_CopyFile names.
// - QV_OK: the transfer has ended. For a read or copy that may be before the size that was asked
//   for or last seen: at the end of the file.
// - a failure: that of the block; what was moved before it stays moved.
//
// A callback runs on a thread of the library, which does nothing else meanwhile. It has to be
// short, must not throw (the process ends then), and must neither start or cancel an asynchronous
// transfer nor wait for a thread that does: from within a callback these give QV_ERR_SYSTEM. One
// transfer's callbacks come one after the other, those of several transfers at the same time.

// Completion of an asynchronous read or write: status, bytes moved so far, the caller's context.
typedef void (*QvIoCompletion)(int status, uint64_t done, void* context);

// Completion of an asynchronous copy: status, the source's size, bytes copied so far, context.
typedef void (*QvCopyCompletion)(int status, uint64_t size, uint64_t copied, void* context);

// Makes a transfer asynchronous. Read during the call and not kept. completion may be null.
struct QvAsyncIo
{
    uint64_t offset;           // position in the file of the first byte
    void* context;             // handed to the callback
    QvIoCompletion completion; // called after each block
};

// One directory entry. The caller sets the three pointers before the call, null to skip a time.
struct QvFindData
{
    struct tm* creationTime; // in: where to put it; local time
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
    wchar_t* extra;     // a second buffer, may be null; gets an empty text
    uint32_t extraSize; // its size in characters
    uint32_t flags;     // out: 0
};

extern "C"
{
    // Opens a file; *file is the caller's until QV_CloseFile. access: QvOpenFlag bits, share:
    // QvShareFlag bits (0: nobody else may open it), security: a QvSecurity value.
    // QV_ERR_NULLPTR: file is null. QV_ERR_BADARG: another security value. QV_ERR_SYSTEM: the
    // owner-only descriptor could not be made. QV_ERR_OPENFILE: the file could not be opened.
    // On failure *file stays as it was.
    QV_API int QV_OpenFile(const wchar_t* path, unsigned int access, unsigned int share,
                           int security, QvFile* file);

    // Ends the file's share modes and locked ranges too, though views or, on Linux, forked children
    // still have the file open. QV_ERR_CLOSEFILE if the handle is not an open one.
    QV_API int QV_CloseFile(QvFile file);

    // Moves up to size bytes (64 bits) at the file's position, which the handle keeps for all its
    // users. *done, if given, gets the bytes moved, also on failure. Fewer bytes than asked for
    // without a failure is success: reading at the end gives QV_OK and a smaller *done.
    // QV_ERR_READFILE; QV_ERR_WRITEFILE, or QV_ERR_DISKFULL for a full disk.
    //
    // With async (null: none) the call only queues the transfer, leaves *done alone, and gives
    // QV_OK, or QV_ERR_SYSTEM if there is no thread or memory for it; it never calls back then. The
    // outcome goes to the callback: the statuses above and QV_ERR_SEEKFILE. A read that reaches
    // past the end of the file finishes with QV_OK and the bytes it got; one of 0 bytes calls back
    // once. The buffer stays valid and the file open until the last callback or QV_CancelAsyncIO. A
    // transfer sets the handle's position: one at a time on a handle.
    //
    // When the library goes, at exit or unloaded, transfers end after the block under way, without
    // a last callback. An exit waits up to 3,000 ms for a callback under way, unloading as long as
    // it takes (on Windows it is for the program to have no transfer or callback under way then).
    QV_API int QV_ReadFile(QvFile file, void* buffer, uint64_t size, uint64_t* done,
                           const QvAsyncIo* async);
    QV_API int QV_WriteFile(QvFile file, const void* buffer, uint64_t size, uint64_t* done,
                            const QvAsyncIo* async);

    // Moves the file's position by a signed offset from the start (whence 0), the position (1) or
    // the end (2); another whence gives QV_ERR_SEEKFILE, as does a position before the start.
    QV_API int QV_SeekFile(QvFile file, int64_t offset, int whence);

    // QV_ERR_NULLPTR: position is null. QV_ERR_FILEPOSITION: *position is 0 then.
    QV_API int QV_FilePosition(QvFile file, uint64_t* position);

    // Cuts or extends the file to its position. QV_ERR_SETEOF.
    QV_API int QV_SetEOF(QvFile file);

    // Locks a byte range for this handle alone, or fails at once; the range may lie beyond the end.
    // QV_ERR_LOCKFILE, QV_ERR_UNLOCKFILE. On Linux other handles that lock meet it, while plain
    // reads and writes pass.
    QV_API int QV_LockFile(QvFile file, uint64_t offset, uint64_t length);
    QV_API int QV_UnlockFile(QvFile file, uint64_t offset, uint64_t length);

    // Sets the times that are given, broken-down local time with a resolution of seconds; null
    // leaves a time as it was. QV_ERR_NULLPTR: a time that does not exist; none is set then.
    // QV_ERR_TOUCHFILE.
    QV_API int QV_TouchFile(QvFile file, const struct tm* creation, const struct tm* access,
                            const struct tm* write);

    // Gives the times that are asked for, all fields of struct tm set, tm_isdst -1.
    // QV_ERR_FILETIMES; QV_ERR_SYSTEM if a time does not convert (the outputs before it stay).
    QV_API int QV_GetFileTimes(QvFile file, struct tm* creation, struct tm* access,
                               struct tm* write);

    // Takes the asynchronous reads and writes on the file out, without a callback, after waiting
    // for a block under way: no callback comes for them afterwards. Copies go on. Also for a file
    // without any: callbacks that had begun before this call have returned after it. QV_OK.
    QV_API int QV_CancelAsyncIO(QvFile file);

    // The size in bytes; *size, which may be null, is 0 on failure. QV_ERR_FILESIZE.
    QV_API int QV_GetFileSize(QvFile file, uint64_t* size);

    // The same by name. The status of QV_OpenFile or QV_GetFileSize.
    QV_API int QV_GetFileSizeFromName(const wchar_t* path, uint64_t* size);

    // Looks whether a path exists (QV_ERR_ACCESS if not) and, with bit 0x02 of mode, whether it may
    // be written as far as the read-only attribute goes (QV_ERR_READONLY), a folder as a file.
    QV_API int QV_AccessFile(const wchar_t* path, int mode);

    // ------------------------------------------------------------------------ file operations --

    // Copies a file. failIfExists not 0 forbids overwriting. QV_ERR_FILEEXISTS, QV_ERR_ACCESS,
    // QV_ERR_COPYFILE.
    //
    // With proceed or completion the call opens both files, shared, queues the copy and gives
    // QV_OK, or QV_ERR_OPENFILE (also for a target that exists and may not be overwritten), or
    // QV_ERR_SYSTEM without a thread or memory; it never calls back then. Only bytes are copied,
    // and the target stays as far as it was written, whatever ends the copy.
    //
    // proceed: null, or a word of the caller's, aligned, valid until the last callback; 0 in it
    // ends the copy with QV_ERR_CANCELLED behind the next full block. The outcome goes to the
    // callback: QV_ERR_WRITEFILE or QV_ERR_DISKFULL as the last; QV_ERR_FILESIZE (size 0) and
    // QV_ERR_READFILE are followed by others, as the copy goes on with what it can read and ends
    // with QV_OK where it can read nothing. The files are closed right after the last callback:
    // QV_CancelAsyncIO, on any file, waits for that.
    QV_API int QV_CopyFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves a file. Between volumes it becomes a copy, with the last three arguments and the status
    // of QV_CopyFile, and the source stays. QV_ERR_ACCESS, QV_ERR_SHARING, QV_ERR_MOVEFILE.
    QV_API int QV_MoveFile(const wchar_t* source, const wchar_t* target, int failIfExists,
                           const volatile uint32_t* proceed, QvCopyCompletion completion,
                           void* context);

    // Moves target to backup, over an earlier backup, then replacement to target. The status of the
    // move that failed; if it was the second, the old file stays under the backup's name.
    QV_API int QV_ReplaceFile(const wchar_t* replacement, const wchar_t* target,
                              const wchar_t* backup, const volatile uint32_t* proceed,
                              QvCopyCompletion completion, void* context);

    // Removes a file, also a read-only one. With strict 0 a missing file is success.
    // QV_ERR_ACCESS, QV_ERR_REMOVEFILE.
    QV_API int QV_RemoveFile(const wchar_t* path, int strict);

    // Searches a file in path (null: the system's places) and gives its full path. extension: null
    // or with its dot, for names without one. A path that doesn't fit is success and leaves the
    // buffer to the system. QV_ERR_SEARCHPATH.
    QV_API int QV_SearchPath(const wchar_t* path, const wchar_t* name, const wchar_t* extension,
                             wchar_t* buffer, unsigned int size);

    // Searches a directory by a pattern with * and ?. Entries come sorted by name, without regard
    // to case, "." and ".." among them. *handle is the caller's until QV_FindFileClose; data may be
    // null. QV_ERR_NULLPTR: handle is null. QV_ERR_FINDFIRST, QV_ERR_FINDNEXT. QV_ERR_SYSTEM: a
    // time did not convert; the search goes on and a handle that was stored is to be closed.
    QV_API int QV_FindFileFirst(const wchar_t* pattern, QvFindHandle* handle, QvFindData* data);
    QV_API int QV_FindFileNext(QvFindHandle handle, QvFindData* data);
    QV_API int QV_FindFileClose(QvFindHandle handle); // QV_ERR_FINDCLOSE

    // ------------------------------------------------------------------------- access rights --

    // Stand in the interface and change nothing. Get is always QV_ERR_BADARG, its arguments are not
    // read. Set tells whether the user's account and the file's access list can be reached at all:
    // QV_ERR_BADARG if they can, QV_ERR_ACCESSRIGHTS if not, as for a missing file or one without a
    // list, QV_ERR_NOSYMBOL if the system lacks a function for it.
    QV_API int QV_GetAccessRights(const wchar_t* path, unsigned int* rights);
    QV_API int QV_SetAccessRights(const wchar_t* path, unsigned int rights);

    // ---------------------------------------------------------------------------- directories --

    // Makes a directory, with its parents if recursive is not 0; one that exists is success.
    // Parents are made for the first 259 characters of the path. security is not read.
    // QV_ERR_CREATEDIR.
    QV_API int QV_CreateDirectory(const wchar_t* path, int recursive, int security);

    QV_API int QV_RemoveDirectory(const wchar_t* path); // must be empty; QV_ERR_REMOVEDIR

    // Removes a directory with what it holds, but for entries whose name begins with a dot. A path
    // of up to 259 characters. QV_ERR_SYSTEM: an empty path. QV_ERR_REMOVEDIR: something is left.
    QV_API int QV_RemoveDirectoryRecursively(const wchar_t* path);

    // Tells whether files can be made in a directory, by making one: in the directory itself if the
    // path ends in a separator, beside its last component otherwise.
    QV_API bool QV_IsDirectoryWritable(const wchar_t* path);

    // A buffer that is too small is success and stays untouched. QV_ERR_GETCURDIR.
    QV_API int QV_GetCurrentDirectory(wchar_t* buffer, unsigned int size);
    QV_API int QV_SetCurrentDirectory(const wchar_t* path); // QV_ERR_SETCURDIR

    // Bytes of a volume: free to the caller, in all, free in all; each may be null.
    // QV_ERR_DISKSPACE.
    QV_API int QV_GetDiskSpaces(const wchar_t* path, uint64_t* freeToCaller, uint64_t* total,
                                uint64_t* totalFree);

    // Sets the temporary path of the process, at most 259 characters, empty to clear; call it
    // before other threads use it. QV_ERR_SYSTEM: too long, the request is cleared then.
    QV_API int QV_SetRequestedTempPath(const wchar_t* path);

    // The requested temporary path if it fits, else the system's, with a separator at its end.
    // QV_ERR_TEMPPATH.
    QV_API int QV_GetTempPath(wchar_t* buffer, unsigned int size);

    // Finds a free name in a directory (null: QV_GetTempPath) from a pattern in which each run of
    // '$' stands for a random number of at least so many digits. With create not 0 the file is
    // made, empty. After 32,768 taken or unreachable names it gives up with QV_ERR_OPENFILE; result
    // then holds the last name tried. QV_ERR_TEMPPATH, and those of QV_OpenFile.
    QV_API int QV_GetTempFileName(const wchar_t* directory, const wchar_t* pattern, int create,
                                  wchar_t* result, unsigned int resultSize);

    // The roots of the logical drives, each terminated, and one terminator more.
    // QV_ERR_DRIVESTRINGS; QV_ERR_BUFFERSMALL with the size needed in *needed, if given.
    QV_API int QV_GetLogicalDriveStrings(wchar_t* buffer, unsigned int size, unsigned int* needed);

    // Type and display name of a volume. QV_ERR_NULLPTR, QV_ERR_VOLUMEINFO.
    QV_API int QV_GetVolumeInformation(const wchar_t* root, QvVolumeInfo* info);

    // Stands in the interface and reads no argument: always QV_ERR_NOTIMPL.
    QV_API int QV_GetUNCPath(const wchar_t* path, wchar_t* buffer, unsigned int size);

    // ------------------------------------------------------------------------ storage folders --

    // Where an application keeps its data: a known system folder (CSIDL number, at first
    // CSIDL_COMMON_APPDATA), a folder below it (at first "Quorvane\Default"), and a user's folder
    // below that (at first none). Texts of at most 259 characters; a longer one is cut. To be set
    // before other threads use them. Always QV_OK.
    QV_API int QV_SetStorageFolder(const wchar_t* folder, unsigned int csidl);
    QV_API int QV_SetStorageUser(const wchar_t* user);

    // The library's own texts, which change with the next set. csidl may be null.
    QV_API const wchar_t* QV_GetStorageFolder(unsigned int* csidl);
    QV_API const wchar_t* QV_GetStorageUser(void);

    // The storage path, no separator at its end; the directory is not made. A path that is too
    // short is filled without a terminator. QV_ERR_NULLPTR: the known folder is not one.
    // QV_ERR_SYSTEM: the system could not give it, or the whole exceeds 263 characters.
    QV_API int QV_GetStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // Its parent. Always QV_OK; an empty text if there is no storage path.
    QV_API int QV_GetRootStoragePath(wchar_t* path, unsigned int size, bool withoutUser);

    // --------------------------------------------------------------------------- mapped files --

    // Maps a stretch of a file at any byte offset; offset 0 with size 0 maps the whole. *address
    // points at the byte wanted and stays good after the file is closed, until QV_UnmapFile. With
    // QV_MAP_WRITE a stretch beyond the end grows the file. QV_ERR_NULLPTR: address is null, or an
    // unknown mode. QV_ERR_SYSTEM, QV_ERR_FAILED.
    QV_API int QV_MapFile(QvFile file, unsigned int mode, uint64_t offset, uint64_t size,
                          void** address);

    // size is not used. QV_ERR_NULLPTR: address is null. QV_ERR_SYSTEM: nothing is mapped there.
    QV_API int QV_UnmapFile(void* address, uint64_t size);
}

#endif

// Status numbers and the option bits that several parts share.
#ifndef PLINTH_W32_SYSTEM_STATUS_H
#define PLINTH_W32_SYSTEM_STATUS_H

#include "base.h"

// ----------------------------------------------------------------------------- status numbers --

// The results of the operations: 0 for success, a negative number for a failure.
enum QvStatus : int
{
    QV_OK = 0,                // success
    QV_ERR_FAILED = -1,       // a failure without a more exact number
    QV_ERR_BADARG = -2,       // a request that the operation does not carry out
    QV_ERR_NOMEMORY = -3,     // a byte array could not be reallocated
    QV_ERR_NULLPTR = -4,      // a required pointer is null, or an argument is out of range
    QV_ERR_NOSYMBOL = -5,     // a system function is missing from its module
    QV_ERR_NOFILE = -7,       // a module file could not be opened for reading
    QV_ERR_TRUNCATED = -8,    // a part of the data was stored, the rest dropped
    QV_ERR_SYSTEM = -9,       // a system call or an allocation failed, or the object does not exist
    QV_ERR_NOTIMPL = -13,     // not provided on this platform
    QV_ERR_OPENFILE = -1000,  // the file could not be opened or created
    QV_ERR_CLOSEFILE = -1001, // closing a file failed
    QV_ERR_READFILE = -1002,  // reading failed
    QV_ERR_WRITEFILE = -1003, // writing failed, or wrote only a part of an asynchronous block
    QV_ERR_SEEKFILE = -1004,  // the position could not be set
    QV_ERR_FILEPOSITION = -1005, // the position could not be read
    QV_ERR_LOCKFILE = -1007,     // the range could not be locked
    QV_ERR_UNLOCKFILE = -1008,   // the range could not be unlocked
    QV_ERR_SETEOF = -1009,       // the file could not be cut or extended
    QV_ERR_TOUCHFILE = -1010,    // the times could not be set
    QV_ERR_FILETIMES = -1011,    // the times could not be read
    QV_ERR_FILESIZE = -1012,     // the size could not be read
    QV_ERR_ACCESS = -1013,       // the path does not exist (QV_AccessFile), or access was denied
    QV_ERR_CREATEDIR = -1014,    // the directory could not be created
    QV_ERR_REMOVEDIR = -1015,    // the directory, or something in it, could not be removed
    QV_ERR_COPYFILE = -1016,     // copying failed
    QV_ERR_MOVEFILE = -1017,     // moving failed
    QV_ERR_REMOVEFILE = -1019,   // removing failed
    QV_ERR_GETCURDIR = -1020,    // the current directory could not be read
    QV_ERR_SETCURDIR = -1021,    // the current directory could not be set
    QV_ERR_DISKSPACE = -1022,    // the volume's space could not be read
    QV_ERR_TEMPPATH = -1023,     // no temporary path, or no room for it
    QV_ERR_SEARCHPATH = -1024,   // the file was not found in the path
    QV_ERR_FINDFIRST = -1025,    // a search could not begin, or nothing matches
    QV_ERR_FINDNEXT = -1026,     // no further entry: the normal end of a search
    QV_ERR_FINDCLOSE = -1027,    // a search could not be closed
    QV_ERR_DRIVESTRINGS = -1028, // the drives could not be listed
    QV_ERR_VOLUMEINFO = -1029,   // the volume could not be read
    QV_ERR_ACCESSRIGHTS = -1030, // the account or the access list can't be reached
    QV_ERR_SHARING = -1031,      // a move failed with a sharing violation
    QV_ERR_READONLY = -1101,     // write access to a read-only file
    QV_ERR_BUFFERSMALL = -1102,  // the caller's buffer is too small
    QV_ERR_INPROGRESS = -1103,   // callback only: a block has been moved and more remains
    QV_ERR_CANCELLED = -1104,    // callback only: the caller's word stopped the copy
    QV_ERR_FILEEXISTS = -1106,   // the target exists and the caller forbade overwriting
    QV_ERR_DISKFULL = -1107,     // a write failed because the disk is full
};

// ------------------------------------------------------------------------------------ options --

// Diagnostic option bits. Trace records use only QV_DIAG_DEBUGGER and QV_DIAG_LOGFILE.
enum QvDiagOption : unsigned
{
    QV_DIAG_MSGBOX = 0x01,     // assertion reports: show a message box
    QV_DIAG_DEBUGGER = 0x02,   // send to the debug string channel
    QV_DIAG_STACKTRACE = 0x04, // assertion reports: add a stack walk
    QV_DIAG_EVENTLOG = 0x08,   // assertion reports: write to the event log
    QV_DIAG_LOGFILE = 0x10,    // write to the log file
};

// How QV_OpenFile opens a file.
enum QvOpenFlag : unsigned
{
    QV_OPEN_READ = 0x01,   // for reading
    QV_OPEN_WRITE = 0x02,  // for writing
    QV_OPEN_CREATE = 0x04, // create the file; fails if it exists, unless QV_OPEN_ALWAYS is set too
    QV_OPEN_ALWAYS = 0x08, // with QV_OPEN_CREATE: replace an existing file; alone: open or create
    QV_OPEN_TRUNCATE = 0x10, // the file must exist and is cut; only without the two above
};

// What other handles may open a file for meanwhile.
enum QvShareFlag : unsigned
{
    QV_SHARE_READ = 0x01,  // reading
    QV_SHARE_WRITE = 0x02, // writing
};

// Who may use a file that is created.
enum QvSecurity : int
{
    QV_SECURITY_DEFAULT = -1,       // those that the folder and the system's settings allow
    QV_SECURITY_OWNER_ONLY = 0x700, // only the current user, with all rights (mode 0600 on Linux)
};

// The purpose of a mapping of a file.
enum QvMapMode : unsigned
{
    QV_MAP_READ = 1,  // reading
    QV_MAP_WRITE = 2, // reading and writing
    QV_MAP_COPY = 3,  // private: writes stay in memory
};

// Precision modes of QV_Sleep and of the timers.
enum QvPrecision : int
{
    QV_PRECISION_SLEEP = 1,        // system sleep, rounded to milliseconds
    QV_PRECISION_SLEEP_SPIN = 2,   // system sleep in whole tens of milliseconds, then spin
    QV_PRECISION_SPIN = 3,         // spin
    QV_PRECISION_MM_20 = 4,        // sleeps as 1
    QV_PRECISION_MM_10 = 5,        // sleeps as 2
    QV_PRECISION_MM_1 = 6,         // sleeps as 3
    QV_PRECISION_MM_1_ALIGNED = 7, // sleeps as 3
    QV_PRECISION_LATE_SPIN = 8,    // system sleep for all but the last 20 ms, then spin
    QV_PRECISION_POSTED = 9,       // sleeps as 1
};

#endif

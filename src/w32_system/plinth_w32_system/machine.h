// The process and its machine: how the library was built, memory, identifiers, power, and who
// the process is.
#ifndef PLINTH_W32_SYSTEM_MACHINE_H
#define PLINTH_W32_SYSTEM_MACHINE_H

#include <cstdint>

#include "base.h"

extern "C"
{
    // ------------------------------------------------------------------------------- platform --

    // How the library was built.
    QV_API bool QV_Is64Bit(void);
    QV_API bool QV_Is32Bit(void);
    QV_API bool QV_Is64BitWindows(void);

    // What stands behind and before the base name of a module file: ".dll" and the empty text.
    // Constant texts.
    QV_API const wchar_t* QV_GetDllExt(void);
    QV_API const wchar_t* QV_GetDllPref(void);

    // The path of a module's file into a buffer of size characters; null for the main executable.
    // Always QV_OK; the buffer holds what the system put there. The executable's path stays the one
    // with which it was started, also if its file is renamed, replaced or removed meanwhile.
    QV_API int QV_GetModuleFileName(HMODULE module, wchar_t* buffer, unsigned int size);

    // --------------------------------------------------------------------------------- memory --
    //
    // Sizes are bytes; an output may be null. On Linux the figures are what this process can really
    // get, also inside control groups (both versions, the tightest group up to the top counts):
    //
    //   total physical      MemTotal of /proc/meminfo, or the memory limit of a group
    //   available physical  MemAvailable, or what a group's limit leaves: its usage without the
    //                       pages of files, which the kernel takes back
    //   total page file,    physical memory and SwapTotal, or a group's limits of both; CommitLimit
    //     commit limit      where the kernel refuses to promise more (overcommit mode 2)
    //   available page file available physical memory and SwapFree, likewise bounded
    //   committed           the commit limit less the available page file
    //   commit peak         the greatest committed that this process has seen
    //   total virtual       128 TiB, or the process's limit on addresses (RLIMIT_AS)
    //   available virtual   that less the first figure of /proc/self/statm
    //   system cache        Cached, Buffers and SReclaimable

    // Note the order: virtual memory stands before the page file. Always QV_OK; zeros if the system
    // can't tell.
    QV_API int QV_GetMemoryStatus(uint64_t* pTotalPhys, uint64_t* pAvailPhys,
                                  uint64_t* pTotalVirtual, uint64_t* pAvailVirtual,
                                  uint64_t* pTotalPageFile, uint64_t* pAvailPageFile);

    // QV_ERR_SYSTEM: the system can't tell; no output is written.
    QV_API int QV_GetMemoryInfo(uint64_t* pCommitTotal, uint64_t* pCommitLimit,
                                uint64_t* pCommitPeak, uint64_t* pPhysicalTotal,
                                uint64_t* pPhysicalAvailable, uint64_t* pSystemCache);

    // The memory that is committed now, and the most that the system can commit: physical memory
    // and the largest page file, from "PagingFiles" in the machine's registry under
    // "SYSTEM\CurrentControlSet\Control\Session Manager\Memory Management" (three times the
    // physical memory and at least 4 GiB where the system manages it; none without the key, as
    // usual on Linux). The limit is worked out once. QV_ERR_SYSTEM: *pCommitted is not written.
    QV_API int QV_GetAllocLimit(uint64_t* pCommitted, uint64_t* pLimit);

    // True if a document of so many bytes should not be opened as one piece: above half of physical
    // memory (*pOverflow is 0 then), or with what is in use above three quarters of the addresses
    // or of the allocation limit (*pOverflow: by how many bytes). False leaves *pOverflow alone.
    // bTrace: traces the figures, if detail is wanted.
    QV_API bool QV_CheckSingleDocumentSizeOverflow(uint64_t size, uint64_t* pOverflow, bool bTrace);

    // ---------------------------------------------------------------------------- identifiers --

    // Makes a random identifier, unique in the world. QV_ERR_SYSTEM.
    QV_API int QV_Generate_Uuid(UUID* pUuid);

    // Stands in the interface and reads no argument: always QV_ERR_BADARG.
    QV_API int QV_Parse_Uuid(const wchar_t* pText, UUID* pUuid);

    // Writes 32 lower-case hexadecimal digits and a terminator: pText has room for 33 characters.
    // Always QV_OK.
    QV_API int QV_Type_Uuid(const UUID* pUuid, wchar_t* pText);

    // ---------------------------------------------------------------------------------- power --

    // Keeps the machine from saving power (bDisable true), and puts things back (false): screen
    // saver and power saving of the display, falling asleep, and shutting down, for which hWnd is
    // the window that stands for the application and pReason, of up to 255 characters, the text
    // that the user is shown. Both calls come from one thread, which lives in between. They don't
    // nest: what a second turning off saves is the settings as the first one made them, so that
    // the restoring then leaves them off. Always QV_OK.
    //
    // On Linux the login manager holds locks with that reason (see systemd-inhibit --list) and the
    // desktop holds its screen saver off, where they are on the message bus, until the restoring or
    // the end of the process, however it ends. The settings themselves stay until the next start of
    // the machine. A bus that doesn't answer is waited for two seconds at most, in one call. hWnd
    // is not looked at.
    QV_API int QV_DisableWindowsPowerSave(HWND hWnd, bool bDisable, const wchar_t* pReason);
}

// --------------------------------------------------------------------- identity (C++ linkage) --

// The process-wide local option: the value that was set, else whether the machine's registry has
// "LocalOptions" 1 under HKEY_LOCAL_MACHINE\SOFTWARE\Quorvane\Misc; read once. The argument of
// QV_IsLocalOption has no effect.
QV_API void QV_SetLocalOption(bool value);
QV_API bool QV_IsLocalOption(const wchar_t* option);

// The main thread is the first thread that calls this; its id.
QV_API unsigned int QV_GetMainThreadId();

// True if the ids are equal. Otherwise false, and a message that is not null is traced.
QV_API bool QV_CompareThreadId(unsigned int first, unsigned int second, const wchar_t* message);

// True on the main thread. False otherwise; message and source file, as far as they are not null,
// are traced then. False without a word if no main thread is recorded.
QV_API bool QV_CheckMainThreadId(const wchar_t* message, const char* sourceFile, int line);

// The system's version, read once while the library loads. If that failed all answers are false.
class QV_API CQvWinVersion
{
public:
    // What the system gave; zero versions if it gave nothing.
    static OSVERSIONINFOW s_osVersionInfo;

    // Whether the system is exactly the version, with OrGreater that one or a later one; IsWinNT:
    // whether it is of that family, as all of today are.
    static bool IsWin95();
    static bool IsWin98();
    static bool IsWinME();
    static bool IsWin35();
    static bool IsWin40();
    static bool IsWin2k();
    static bool IsWinXP();
    static bool IsWinXPOrGreater();
    static bool IsWinVista();
    static bool IsWinVistaOrGreater();
    static bool IsWin7();
    static bool IsWin7OrGreater();
    static bool IsWin8();
    static bool IsWinNT();
    static void GetOSVersionInfo(OSVERSIONINFOW& info); // a copy of all 276 bytes

    CQvWinVersion& operator=(const CQvWinVersion&); // copies nothing
};

#endif

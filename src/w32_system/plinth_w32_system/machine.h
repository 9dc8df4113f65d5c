// The process and its machine: word size, memory, identifiers, power, version, and thread identity.
#ifndef PLINTH_W32_SYSTEM_MACHINE_H
#define PLINTH_W32_SYSTEM_MACHINE_H

#include <cstdint>

#include "base.h"

extern "C"
{
    // ------------------------------------------------------------------------------- platform --

    // The word size for which the library was built.
    QV_API bool QV_Is64Bit(void);
    QV_API bool QV_Is32Bit(void);
    QV_API bool QV_Is64BitWindows(void);

    // The end and the beginning of a module's file name around its base name: ".dll" and the empty
    // text. Constant texts.
    QV_API const wchar_t* QV_GetDllExt(void);
    QV_API const wchar_t* QV_GetDllPref(void);

    // Writes the path of a module's file into a buffer of size characters; null means the main
    // executable. Always QV_OK; the buffer holds what the system wrote. The executable's path stays
    // the one it was started with, even if its file is renamed, replaced or removed meanwhile.
    QV_API int QV_GetModuleFileName(HMODULE module, wchar_t* buffer, unsigned int size);

    // --------------------------------------------------------------------------------- memory --
    //
    // Sizes are bytes; an output may be null. On Linux the figures are what this process can really
    // get, also inside control groups (both versions; the smallest limit of the group and all above
    // it counts):
    //
    //   total physical      MemTotal of /proc/meminfo, or the memory limit of a group
    //   available physical  MemAvailable, or a group's limit less its usage; pages of files, which
    //                       the kernel can free, don't count as usage
    //   total page file,    physical memory and SwapTotal, or a group's limits of both; CommitLimit
    //     commit limit      where the kernel refuses to promise more (overcommit mode 2)
    //   available page file available physical memory and SwapFree, within the same limits
    //   committed           the commit limit less the available page file
    //   commit peak         the greatest committed that this process has seen
    //   total virtual       128 TiB, or the process's limit on addresses (RLIMIT_AS)
    //   available virtual   total virtual less the first figure of /proc/self/statm
    //   system cache        Cached, Buffers and SReclaimable

    // Note the order: virtual memory comes before the page file. Always QV_OK; zeros if the system
    // can't report them.
    QV_API int QV_GetMemoryStatus(uint64_t* pTotalPhys, uint64_t* pAvailPhys,
                                  uint64_t* pTotalVirtual, uint64_t* pAvailVirtual,
                                  uint64_t* pTotalPageFile, uint64_t* pAvailPageFile);

    // QV_ERR_SYSTEM: the system can't report it; no output is written.
    QV_API int QV_GetMemoryInfo(uint64_t* pCommitTotal, uint64_t* pCommitLimit,
                                uint64_t* pCommitPeak, uint64_t* pPhysicalTotal,
                                uint64_t* pPhysicalAvailable, uint64_t* pSystemCache);

    // The memory that is committed now, and the most that the system can commit: physical memory
    // and the largest page file. Its size comes from "PagingFiles" in the machine's registry under
    // "SYSTEM\CurrentControlSet\Control\Session Manager\Memory Management" (three times the
    // physical memory and at least 4 GiB if the system manages it; 0 without the key, as usual on
    // Linux). The limit is calculated once. QV_ERR_SYSTEM: *pCommitted is not written.
    QV_API int QV_GetAllocLimit(uint64_t* pCommitted, uint64_t* pLimit);

    // True if a document of so many bytes should not be opened as one piece: if it exceeds half of
    // the physical memory (then *pOverflow is 0), or if together with the memory in use it exceeds
    // three quarters of the addresses or of the allocation limit (*pOverflow: by how many bytes).
    // False leaves *pOverflow unchanged. bTrace: traces the figures, if detail is wanted.
    QV_API bool QV_CheckSingleDocumentSizeOverflow(uint64_t size, uint64_t* pOverflow, bool bTrace);

    // ---------------------------------------------------------------------------- identifiers --

    // Creates a random identifier, unique in the world. QV_ERR_SYSTEM.
    QV_API int QV_Generate_Uuid(UUID* pUuid);

    // Not implemented and ignores its arguments: always QV_ERR_BADARG.
    QV_API int QV_Parse_Uuid(const wchar_t* pText, UUID* pUuid);

    // Writes 32 lower-case hexadecimal digits and a terminator: pText has room for 33 characters.
    // Always QV_OK.
    QV_API int QV_Type_Uuid(const UUID* pUuid, wchar_t* pText);

    // ---------------------------------------------------------------------------------- power --

    // Prevents the machine from saving power (bDisable true), and restores the settings (false):
    // the screen saver and power saving of the display, sleep, and shutdown. To prevent a shutdown,
    // hWnd is a window of the application and pReason, of up to 255 characters, the text that the
    // user sees. Both calls must come from one thread, which exists in between. They don't nest: a
    // second call with true saves the settings that the first one made, so that a restore then
    // leaves power saving off. Always QV_OK.
    //
    // On Linux the login manager holds locks with that reason (see systemd-inhibit --list) and the
    // desktop blocks its screen saver, if they are on the message bus, until the restore or the end
    // of the process, in whatever way it ends. The settings themselves stay until the machine
    // restarts. If the bus doesn't answer, a call waits for two seconds at most. hWnd is ignored.
    QV_API int QV_DisableWindowsPowerSave(HWND hWnd, bool bDisable, const wchar_t* pReason);
}

// --------------------------------------------------------------------- identity (C++ linkage) --

// The process-wide local option: the value that was set, otherwise whether the machine's registry
// has "LocalOptions" 1 under HKEY_LOCAL_MACHINE\SOFTWARE\Quorvane\Misc; read once. The argument of
// QV_IsLocalOption has no effect.
QV_API void QV_SetLocalOption(bool value);
QV_API bool QV_IsLocalOption(const wchar_t* option);

// Returns the id of the main thread: the first thread that calls this.
QV_API unsigned int QV_GetMainThreadId();

// True if the ids are equal. Otherwise false, and a message that is not null is traced.
QV_API bool QV_CompareThreadId(unsigned int first, unsigned int second, const wchar_t* message);

// True on the main thread. Otherwise false, and message and source file are traced if they are not
// null. False without a trace if no main thread is recorded.
QV_API bool QV_CheckMainThreadId(const wchar_t* message, const char* sourceFile, int line);

// The system's version, read once while the library loads. If that failed, all answers are false.
class QV_API CQvWinVersion
{
public:
    // The version that the system reported; zeros if it reported none.
    static OSVERSIONINFOW s_osVersionInfo;

    // Whether the system is exactly this version, for OrGreater this one or a later one; IsWinNT:
    // whether it is of that family, as all current systems are.
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

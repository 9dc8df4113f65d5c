// Kernel calls: handles, files, directories, searches, mappings, events, threads, clocks, modules.
//
// Each function behaves as its callers expect of the system: a zero result (or
// INVALID_HANDLE_VALUE) is failure, with the reason in GetLastError. docs/platform.md lists where
// the stand-in knowingly differs.
#ifndef PLINTH_PLATFORM_WINBASE_H
#define PLINTH_PLATFORM_WINBASE_H

#include "winerror.h"
#include "winnt.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)-1)
#define INVALID_SET_FILE_POINTER ((DWORD)-1)
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED 0x80u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64u
#define STILL_ACTIVE 259u
#define STATUS_CONTROL_C_EXIT 0xC000013Au

#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_BEGIN 0u
#define FILE_CURRENT 1u
#define FILE_END 2u
#define MOVEFILE_REPLACE_EXISTING 1u
#define MOVEFILE_COPY_ALLOWED 2u
#define SEM_FAILCRITICALERRORS 1u

#define FILE_MAP_COPY 1u
#define FILE_MAP_WRITE 2u
#define FILE_MAP_READ 4u
#define FILE_MAP_ALL_ACCESS SECTION_ALL_ACCESS

#define DRIVE_UNKNOWN 0u
#define DRIVE_NO_ROOT_DIR 1u
#define DRIVE_REMOVABLE 2u
#define DRIVE_FIXED 3u
#define DRIVE_REMOTE 4u
#define DRIVE_CDROM 5u
#define DRIVE_RAMDISK 6u

#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF

#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR 0x0040u

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u

#define CP_ACP 0u
#define CP_UTF8 65001u
#define MB_ERR_INVALID_CHARS 0x00000008u
#define WC_ERR_INVALID_CHARS 0x00000080u

#define LOAD_LIBRARY_AS_DATAFILE 0x00000002u
#define LOCALE_SYSTEM_DEFAULT 0x0800u
#define NORM_IGNORECASE 0x00000001u
#define CSTR_LESS_THAN 1
#define CSTR_EQUAL 2
#define CSTR_GREATER_THAN 3

    typedef struct SECURITY_ATTRIBUTES
    {
        DWORD nLength;
        LPVOID lpSecurityDescriptor;
        BOOL bInheritHandle;
    } SECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

    typedef struct OVERLAPPED OVERLAPPED;
    typedef OVERLAPPED* LPOVERLAPPED;

    typedef struct FILETIME
    {
        DWORD dwLowDateTime; // 100 ns units since 1 January 1601, UTC
        DWORD dwHighDateTime;
    } FILETIME, *LPFILETIME;

    typedef struct SYSTEMTIME
    {
        WORD wYear;
        WORD wMonth;
        WORD wDayOfWeek;
        WORD wDay;
        WORD wHour;
        WORD wMinute;
        WORD wSecond;
        WORD wMilliseconds;
    } SYSTEMTIME, *LPSYSTEMTIME;

    typedef enum FILE_INFO_BY_HANDLE_CLASS
    {
        FileAllocationInfo = 5,
    } FILE_INFO_BY_HANDLE_CLASS;

    typedef struct FILE_ALLOCATION_INFO
    {
        LARGE_INTEGER AllocationSize; // bytes
    } FILE_ALLOCATION_INFO;

    typedef struct BY_HANDLE_FILE_INFORMATION
    {
        DWORD dwFileAttributes;
        FILETIME ftCreationTime;
        FILETIME ftLastAccessTime;
        FILETIME ftLastWriteTime;
        DWORD dwVolumeSerialNumber;
        DWORD nFileSizeHigh;
        DWORD nFileSizeLow;
        DWORD nNumberOfLinks;
        DWORD nFileIndexHigh;
        DWORD nFileIndexLow;
    } BY_HANDLE_FILE_INFORMATION, *LPBY_HANDLE_FILE_INFORMATION;

    typedef struct WIN32_FIND_DATAW
    {
        DWORD dwFileAttributes;
        FILETIME ftCreationTime;
        FILETIME ftLastAccessTime;
        FILETIME ftLastWriteTime;
        DWORD nFileSizeHigh;
        DWORD nFileSizeLow;
        DWORD dwReserved0;
        DWORD dwReserved1;
        WCHAR cFileName[MAX_PATH];
        WCHAR cAlternateFileName[14];
    } WIN32_FIND_DATAW, *LPWIN32_FIND_DATAW;

    typedef struct SYSTEM_INFO
    {
        __extension__ union
        {
            DWORD dwOemId;
            __extension__ struct
            {
                WORD wProcessorArchitecture;
                WORD wReserved;
            };
        };
        DWORD dwPageSize;
        LPVOID lpMinimumApplicationAddress;
        LPVOID lpMaximumApplicationAddress;
        DWORD_PTR dwActiveProcessorMask;
        DWORD dwNumberOfProcessors;
        DWORD dwProcessorType;
        DWORD dwAllocationGranularity;
        WORD wProcessorLevel;
        WORD wProcessorRevision;
    } SYSTEM_INFO, *LPSYSTEM_INFO;

    typedef DWORD(WINAPI* LPTHREAD_START_ROUTINE)(LPVOID);

    // Errors and general.
    PLINTH_PLATFORM_API DWORD WINAPI GetLastError(void);
    PLINTH_PLATFORM_API void WINAPI SetLastError(DWORD error);
    PLINTH_PLATFORM_API UINT WINAPI SetErrorMode(UINT mode);
    PLINTH_PLATFORM_API DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD message,
                                                    DWORD language, LPWSTR buffer, DWORD size,
                                                    void* arguments);
    PLINTH_PLATFORM_API DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD message,
                                                    DWORD language, LPSTR buffer, DWORD size,
                                                    void* arguments);
    PLINTH_PLATFORM_API HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes);
    PLINTH_PLATFORM_API HLOCAL WINAPI LocalFree(HLOCAL memory);
    PLINTH_PLATFORM_API BOOL WINAPI CloseHandle(HANDLE object);
    PLINTH_PLATFORM_API void WINAPI GetSystemInfo(LPSYSTEM_INFO info);
    PLINTH_PLATFORM_API BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW info);

    // Files.
    PLINTH_PLATFORM_API HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share,
                                                  LPSECURITY_ATTRIBUTES security, DWORD disposition,
                                                  DWORD attributes, HANDLE pattern);
    PLINTH_PLATFORM_API HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share,
                                                  LPSECURITY_ATTRIBUTES security, DWORD disposition,
                                                  DWORD attributes, HANDLE pattern);
    PLINTH_PLATFORM_API BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done,
                                             LPOVERLAPPED overlapped);
    PLINTH_PLATFORM_API BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD done,
                                              LPOVERLAPPED overlapped);
    PLINTH_PLATFORM_API DWORD WINAPI SetFilePointer(HANDLE file, LONG low, PLONG high,
                                                    DWORD method);
    PLINTH_PLATFORM_API DWORD WINAPI GetFileSize(HANDLE file, LPDWORD high);
    PLINTH_PLATFORM_API BOOL WINAPI SetEndOfFile(HANDLE file);
    PLINTH_PLATFORM_API BOOL WINAPI SetFileInformationByHandle(HANDLE file,
                                                               FILE_INFO_BY_HANDLE_CLASS kind,
                                                               LPVOID information, DWORD size);
    PLINTH_PLATFORM_API BOOL WINAPI FlushFileBuffers(HANDLE file);
    PLINTH_PLATFORM_API BOOL WINAPI LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh,
                                             DWORD sizeLow, DWORD sizeHigh);
    PLINTH_PLATFORM_API BOOL WINAPI UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh,
                                               DWORD sizeLow, DWORD sizeHigh);
    PLINTH_PLATFORM_API BOOL WINAPI GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME access,
                                                LPFILETIME write);
    PLINTH_PLATFORM_API BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation,
                                                const FILETIME* access, const FILETIME* write);
    PLINTH_PLATFORM_API BOOL WINAPI
    GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information);
    PLINTH_PLATFORM_API DWORD WINAPI GetFileAttributesW(LPCWSTR path);
    PLINTH_PLATFORM_API BOOL WINAPI SetFileAttributesW(LPCWSTR path, DWORD attributes);
    PLINTH_PLATFORM_API BOOL WINAPI CopyFileW(LPCWSTR source, LPCWSTR target, BOOL failIfExists);
    PLINTH_PLATFORM_API BOOL WINAPI MoveFileExW(LPCWSTR source, LPCWSTR target, DWORD flags);
    PLINTH_PLATFORM_API BOOL WINAPI DeleteFileW(LPCWSTR path);
    PLINTH_PLATFORM_API DWORD WINAPI SearchPathW(LPCWSTR path, LPCWSTR name, LPCWSTR extension,
                                                 DWORD size, LPWSTR buffer, LPWSTR* part);
    PLINTH_PLATFORM_API DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer,
                                                      LPWSTR* part);

    // Directories and volumes.
    PLINTH_PLATFORM_API HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data);
    PLINTH_PLATFORM_API BOOL WINAPI FindNextFileW(HANDLE search, LPWIN32_FIND_DATAW data);
    PLINTH_PLATFORM_API BOOL WINAPI FindClose(HANDLE search);
    PLINTH_PLATFORM_API BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security);
    PLINTH_PLATFORM_API BOOL WINAPI RemoveDirectoryW(LPCWSTR path);
    PLINTH_PLATFORM_API DWORD WINAPI GetCurrentDirectoryW(DWORD size, LPWSTR buffer);
    PLINTH_PLATFORM_API BOOL WINAPI SetCurrentDirectoryW(LPCWSTR path);
    PLINTH_PLATFORM_API BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR path, PULARGE_INTEGER freeToCaller,
                                                        PULARGE_INTEGER total,
                                                        PULARGE_INTEGER totalFree);
    PLINTH_PLATFORM_API DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer);
    PLINTH_PLATFORM_API DWORD WINAPI GetLogicalDriveStringsW(DWORD size, LPWSTR buffer);
    PLINTH_PLATFORM_API UINT WINAPI GetDriveTypeW(LPCWSTR root);
    PLINTH_PLATFORM_API BOOL WINAPI GetVolumeInformationW(LPCWSTR root, LPWSTR name, DWORD nameSize,
                                                          LPDWORD serial, LPDWORD maxComponent,
                                                          LPDWORD flags, LPWSTR fileSystem,
                                                          DWORD fileSystemSize);

    // Mappings.
    PLINTH_PLATFORM_API HANDLE WINAPI CreateFileMappingW(HANDLE file,
                                                         LPSECURITY_ATTRIBUTES security,
                                                         DWORD protection, DWORD sizeHigh,
                                                         DWORD sizeLow, LPCWSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI CreateFileMappingA(HANDLE file,
                                                         LPSECURITY_ATTRIBUTES security,
                                                         DWORD protection, DWORD sizeHigh,
                                                         DWORD sizeLow, LPCSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI OpenFileMappingA(DWORD access, BOOL inherit, LPCSTR name);
    PLINTH_PLATFORM_API LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh,
                                                    DWORD offsetLow, SIZE_T bytes);
    PLINTH_PLATFORM_API BOOL WINAPI UnmapViewOfFile(LPCVOID address);

    // Events, semaphores, waits, critical sections.
    PLINTH_PLATFORM_API HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset,
                                                   BOOL initialState, LPCSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manualReset,
                                                   BOOL initialState, LPCWSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI OpenEventA(DWORD access, BOOL inherit, LPCSTR name);
    PLINTH_PLATFORM_API BOOL WINAPI SetEvent(HANDLE event);
    PLINTH_PLATFORM_API BOOL WINAPI ResetEvent(HANDLE event);
    PLINTH_PLATFORM_API HANDLE WINAPI CreateSemaphoreA(LPSECURITY_ATTRIBUTES security, LONG initial,
                                                       LONG maximum, LPCSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI CreateSemaphoreW(LPSECURITY_ATTRIBUTES security, LONG initial,
                                                       LONG maximum, LPCWSTR name);
    PLINTH_PLATFORM_API HANDLE WINAPI OpenSemaphoreW(DWORD access, BOOL inherit, LPCWSTR name);
    PLINTH_PLATFORM_API BOOL WINAPI ReleaseSemaphore(HANDLE semaphore, LONG count, LPLONG previous);
    PLINTH_PLATFORM_API DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds);
    PLINTH_PLATFORM_API DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* objects,
                                                            BOOL all, DWORD milliseconds);
    PLINTH_PLATFORM_API void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
    PLINTH_PLATFORM_API void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);
    PLINTH_PLATFORM_API void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
    PLINTH_PLATFORM_API BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section);
    PLINTH_PLATFORM_API void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);

    // Threads and processes.
    PLINTH_PLATFORM_API HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stackSize,
                                                   LPTHREAD_START_ROUTINE start, LPVOID argument,
                                                   DWORD flags, LPDWORD id);
    PLINTH_PLATFORM_API BOOL WINAPI TerminateThread(HANDLE thread, DWORD exitCode);
    PLINTH_PLATFORM_API BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode);
    PLINTH_PLATFORM_API HANDLE WINAPI GetCurrentThread(void);
    PLINTH_PLATFORM_API DWORD WINAPI GetCurrentThreadId(void);
    PLINTH_PLATFORM_API DWORD WINAPI GetCurrentProcessId(void);
    PLINTH_PLATFORM_API HANDLE WINAPI GetCurrentProcess(void);
    // As exit() does, from any thread. A second thread that calls this waits until the process
    // ends.
    PLINTH_PLATFORM_NORETURN void WINAPI ExitProcess(UINT exitCode);
    PLINTH_PLATFORM_API BOOL WINAPI SetThreadPriority(HANDLE thread, int priority);
    PLINTH_PLATFORM_API int WINAPI GetThreadPriority(HANDLE thread);
    PLINTH_PLATFORM_API void WINAPI Sleep(DWORD milliseconds);
    PLINTH_PLATFORM_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE module);

    // Clocks and calendar.
    PLINTH_PLATFORM_API ULONGLONG WINAPI GetTickCount64(void);
    PLINTH_PLATFORM_API BOOL WINAPI QueryPerformanceCounter(LARGE_INTEGER* count);
    PLINTH_PLATFORM_API BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency);
    PLINTH_PLATFORM_API void WINAPI GetSystemTime(LPSYSTEMTIME time);
    PLINTH_PLATFORM_API void WINAPI GetLocalTime(LPSYSTEMTIME time);
    PLINTH_PLATFORM_API void WINAPI GetSystemTimeAsFileTime(LPFILETIME time);
    PLINTH_PLATFORM_API BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME result);
    PLINTH_PLATFORM_API BOOL WINAPI FileTimeToSystemTime(const FILETIME* time, LPSYSTEMTIME result);
    PLINTH_PLATFORM_API BOOL WINAPI LocalFileTimeToFileTime(const FILETIME* local,
                                                            LPFILETIME result);
    PLINTH_PLATFORM_API BOOL WINAPI FileTimeToLocalFileTime(const FILETIME* time, LPFILETIME local);

    // The calling thread, for walks of its stack. thread must be GetCurrentThread(). Returns where
    // its caller continues (Rip, Rsp, Rbp); the other registers are zero, regardless of the flags.
    PLINTH_PLATFORM_API BOOL WINAPI GetThreadContext(HANDLE thread, LPCONTEXT context);

    // The region that contains an address. process must be GetCurrentProcess(). In a loaded module
    // AllocationBase is the module's handle. Returns the bytes stored, 0 on failure.
    PLINTH_PLATFORM_API SIZE_T WINAPI VirtualQueryEx(HANDLE process, LPCVOID address,
                                                     PMEMORY_BASIC_INFORMATION info, SIZE_T size);

    // The event log, here the system's log. The names are also in "ADVAPI32.DLL".
    PLINTH_PLATFORM_API HANDLE WINAPI RegisterEventSourceW(LPCWSTR server, LPCWSTR source);
    PLINTH_PLATFORM_API BOOL WINAPI ReportEventW(HANDLE log, WORD type, WORD category, DWORD event,
                                                 PSID user, WORD strings, DWORD dataSize,
                                                 LPCWSTR* texts, LPVOID data);
    PLINTH_PLATFORM_API BOOL WINAPI DeregisterEventSource(HANDLE log);

    // Debug string channel.
    PLINTH_PLATFORM_API void WINAPI OutputDebugStringA(LPCSTR text);
    PLINTH_PLATFORM_API void WINAPI OutputDebugStringW(LPCWSTR text);

    // Modules and resources.
    PLINTH_PLATFORM_API DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
    PLINTH_PLATFORM_API DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
    PLINTH_PLATFORM_API HMODULE WINAPI LoadLibraryExW(LPCWSTR path, HANDLE file, DWORD flags);
    PLINTH_PLATFORM_API HMODULE WINAPI LoadLibraryW(LPCWSTR path);
    PLINTH_PLATFORM_API HMODULE WINAPI GetModuleHandleW(LPCWSTR name); // null: the program
    PLINTH_PLATFORM_API FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
    PLINTH_PLATFORM_API BOOL WINAPI FreeLibrary(HMODULE module);
    PLINTH_PLATFORM_API HRSRC WINAPI FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
    PLINTH_PLATFORM_API HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource);
    PLINTH_PLATFORM_API LPVOID WINAPI LockResource(HGLOBAL data);
    PLINTH_PLATFORM_API DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource);

    // A type or a name is a text, a number below 65,536 by MAKEINTRESOURCEW, or the text "#NUMBER".
    typedef BOOL(CALLBACK* ENUMRESTYPEPROCW)(HMODULE module, LPWSTR type, LONG_PTR argument);
    typedef BOOL(CALLBACK* ENUMRESNAMEPROCW)(HMODULE module, LPCWSTR type, LPWSTR name,
                                             LONG_PTR argument);
    typedef BOOL(CALLBACK* ENUMRESLANGPROCW)(HMODULE module, LPCWSTR type, LPCWSTR name,
                                             WORD language, LONG_PTR argument);
    PLINTH_PLATFORM_API HRSRC WINAPI FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name,
                                                     WORD language);
    PLINTH_PLATFORM_API BOOL WINAPI EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW call,
                                                       LONG_PTR argument);
    PLINTH_PLATFORM_API BOOL WINAPI EnumResourceNamesW(HMODULE module, LPCWSTR type,
                                                       ENUMRESNAMEPROCW call, LONG_PTR argument);
    PLINTH_PLATFORM_API BOOL WINAPI EnumResourceLanguagesW(HMODULE module, LPCWSTR type,
                                                           LPCWSTR name, ENUMRESLANGPROCW call,
                                                           LONG_PTR argument);
    PLINTH_PLATFORM_API HANDLE WINAPI BeginUpdateResourceW(LPCWSTR path, BOOL deleteExisting);
    PLINTH_PLATFORM_API BOOL WINAPI UpdateResourceW(HANDLE update, LPCWSTR type, LPCWSTR name,
                                                    WORD language, LPVOID data, DWORD size);
    PLINTH_PLATFORM_API BOOL WINAPI EndUpdateResourceW(HANDLE update, BOOL discard);

    // Replaces each %NAME% by the variable's value; a name that is no variable stays. size:
    // characters. Returns the characters of the result with its terminator, even if it doesn't fit,
    // or 0.
    PLINTH_PLATFORM_API DWORD WINAPI ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer,
                                                               DWORD size);

    // Text.
    PLINTH_PLATFORM_API int WINAPI CompareStringA(LCID locale, DWORD flags, LPCSTR first,
                                                  int firstLength, LPCSTR second, int secondLength);
    PLINTH_PLATFORM_API int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text,
                                                       int length, LPSTR out, int outSize,
                                                       LPCSTR defaultChar, LPBOOL usedDefault);
    PLINTH_PLATFORM_API int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text,
                                                       int length, LPWSTR out, int outSize);

    // What the calling thread requires of the machine, until the thread ends; returns the former
    // state, or 0 for flags that can't be combined. Locks of the login manager enforce it: "idle"
    // for ES_SYSTEM_REQUIRED, "sleep" for ES_AWAYMODE_REQUIRED; for ES_DISPLAY_REQUIRED the
    // desktop's screen saver is suppressed.
    typedef DWORD EXECUTION_STATE;
#define ES_SYSTEM_REQUIRED 0x00000001u
#define ES_DISPLAY_REQUIRED 0x00000002u
#define ES_AWAYMODE_REQUIRED 0x00000040u
#define ES_CONTINUOUS 0x80000000u
    PLINTH_PLATFORM_API EXECUTION_STATE WINAPI SetThreadExecutionState(EXECUTION_STATE state);

    // Memory, in bytes, as far as this process can get it: limited by the control groups around it
    // and, for addresses, by its own address limit. The page file is physical memory and swap
    // together.
    typedef struct MEMORYSTATUSEX
    {
        DWORD dwLength;     // in: the size of this structure
        DWORD dwMemoryLoad; // per cent of physical memory in use
        DWORD64 ullTotalPhys;
        DWORD64 ullAvailPhys;
        DWORD64 ullTotalPageFile;
        DWORD64 ullAvailPageFile;
        DWORD64 ullTotalVirtual;
        DWORD64 ullAvailVirtual;
        DWORD64 ullAvailExtendedVirtual; // 0
    } MEMORYSTATUSEX, *LPMEMORYSTATUSEX;
    PLINTH_PLATFORM_API BOOL WINAPI GlobalMemoryStatusEx(LPMEMORYSTATUSEX status);

    // Interlocked operations, full barriers as on the system.
    static inline LONG InterlockedIncrement(LONG volatile* value)
    {
        return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
    }
    static inline LONG InterlockedDecrement(LONG volatile* value)
    {
        return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
    }
    static inline LONG InterlockedExchange(LONG volatile* value, LONG to)
    {
        return __atomic_exchange_n(value, to, __ATOMIC_SEQ_CST);
    }
    static inline LONG InterlockedCompareExchange(LONG volatile* value, LONG to, LONG expected)
    {
        __atomic_compare_exchange_n(value, &expected, to, 0, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
        return expected;
    }

#ifdef __cplusplus
}
static_assert(sizeof(WIN32_FIND_DATAW) == 592 && sizeof(SYSTEM_INFO) == 48);
static_assert(sizeof(SECURITY_ATTRIBUTES) == 24 && sizeof(FILETIME) == 8);
static_assert(sizeof(MEMORYSTATUSEX) == 64);
#endif

#endif

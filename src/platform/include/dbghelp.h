// Debug help: the stack of the calling thread, and symbols and source lines by address.
//
// As on the system, these calls serve one thread at a time: callers must serialise them by a lock
// of their own. A zero result is failure, with the reason in GetLastError. The only process is
// GetCurrentProcess(), the only thread GetCurrentThread().
//
// Symbols and lines come from the modules' ELF symbol tables and DWARF, in the module itself or in
// a separate debug file (by build id below /usr/lib/debug, or by .gnu_debuglink); nothing is
// fetched over the network. The library that reads them, libdw.so.1, is loaded by SymInitialize,
// which fails with ERROR_MOD_NOT_FOUND where it isn't installed.
#ifndef PLINTH_PLATFORM_DBGHELP_H
#define PLINTH_PLATFORM_DBGHELP_H

#include "guiddef.h"
#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define SYMOPT_UNDNAME 0x00000002u    // C++ names as in the source; set by default
#define SYMOPT_LOAD_LINES 0x00000010u // without it there are no lines

    typedef enum SYM_TYPE
    {
        SymNone,
        SymCoff,
        SymCv,
        SymPdb,
        SymExport,
        SymDeferred,
        SymSym,
        SymDia,
        SymVirtual
    } SYM_TYPE;

    typedef struct IMAGEHLP_MODULE64
    {
        DWORD SizeOfStruct;
        DWORD64 BaseOfImage;
        DWORD ImageSize;
        DWORD TimeDateStamp;
        DWORD CheckSum;
        DWORD NumSyms;
        SYM_TYPE SymType;
        CHAR ModuleName[32];
        CHAR ImageName[256];
        CHAR LoadedImageName[256];
        CHAR LoadedPdbName[256];
        DWORD CVSig;
        CHAR CVData[MAX_PATH * 3];
        DWORD PdbSig;
        GUID PdbSig70;
        DWORD PdbAge;
        BOOL PdbUnmatched;
        BOOL DbgUnmatched;
        BOOL LineNumbers;
        BOOL GlobalSymbols;
        BOOL TypeInfo;
        BOOL SourceIndexed;
        BOOL Publics;
    } IMAGEHLP_MODULE64, *PIMAGEHLP_MODULE64;

    typedef struct IMAGEHLP_SYMBOL64
    {
        DWORD SizeOfStruct; // 32
        DWORD64 Address;
        DWORD Size;
        DWORD Flags;
        DWORD MaxNameLength; // bytes at Name, terminator included
        CHAR Name[1];
    } IMAGEHLP_SYMBOL64, *PIMAGEHLP_SYMBOL64;

    typedef struct IMAGEHLP_LINE64
    {
        DWORD SizeOfStruct; // 40
        PVOID Key;
        DWORD LineNumber;
        LPSTR FileName; // native, as the compiler wrote it; valid until the next call
        DWORD64 Address;
    } IMAGEHLP_LINE64, *PIMAGEHLP_LINE64;

    typedef enum ADDRESS_MODE
    {
        AddrMode1616,
        AddrMode1632,
        AddrModeReal,
        AddrModeFlat
    } ADDRESS_MODE;

    typedef struct ADDRESS64
    {
        DWORD64 Offset;
        WORD Segment;
        ADDRESS_MODE Mode;
    } ADDRESS64, *LPADDRESS64;

    typedef struct KDHELP64
    {
        DWORD64 Thread;
        DWORD ThCallbackStack;
        DWORD ThCallbackBStore;
        DWORD NextCallback;
        DWORD FramePointer;
        DWORD64 KiCallUserMode;
        DWORD64 KeUserCallbackDispatcher;
        DWORD64 SystemRangeStart;
        DWORD64 KiUserExceptionDispatcher;
        DWORD64 StackBase;
        DWORD64 StackLimit;
        DWORD BuildVersion;
        DWORD RetpolineStubFunctionTableSize;
        DWORD64 RetpolineStubFunctionTable;
        DWORD RetpolineStubOffset;
        DWORD RetpolineStubSize;
        DWORD64 Reserved0[2];
    } KDHELP64;

    typedef struct STACKFRAME64
    {
        ADDRESS64 AddrPC;
        ADDRESS64 AddrReturn;
        ADDRESS64 AddrFrame;
        ADDRESS64 AddrStack;
        ADDRESS64 AddrBStore;
        PVOID FuncTableEntry;
        DWORD64 Params[4];
        BOOL Far;
        BOOL Virtual;
        DWORD64 Reserved[3];
        KDHELP64 KdHelp;
    } STACKFRAME64, *LPSTACKFRAME64;

    typedef BOOL(CALLBACK* PREAD_PROCESS_MEMORY_ROUTINE64)(HANDLE process, DWORD64 address,
                                                           PVOID buffer, DWORD size, LPDWORD done);
    typedef PVOID(CALLBACK* PFUNCTION_TABLE_ACCESS_ROUTINE64)(HANDLE process, DWORD64 address);
    typedef DWORD64(CALLBACK* PGET_MODULE_BASE_ROUTINE64)(HANDLE process, DWORD64 address);
    typedef DWORD64(CALLBACK* PTRANSLATE_ADDRESS_ROUTINE64)(HANDLE process, HANDLE thread,
                                                            LPADDRESS64 address);

    // Returns the next frame of a walk. The first call, with a frame of zeroes except for AddrPC,
    // AddrStack and AddrFrame, returns the frame that these describe. The context must be of the
    // calling thread, and of a function that is still running. AddrPC of a calling frame is the
    // last byte of the call, so that its line is that of the call; AddrReturn is exact. FALSE at
    // the end. The memory and translation routines may be null and are not used.
    PLINTH_PLATFORM_API BOOL WINAPI StackWalk64(
        DWORD machine, HANDLE process, HANDLE thread, LPSTACKFRAME64 frame, PVOID context,
        PREAD_PROCESS_MEMORY_ROUTINE64 readMemory,
        PFUNCTION_TABLE_ACCESS_ROUTINE64 functionTableAccess,
        PGET_MODULE_BASE_ROUTINE64 getModuleBase, PTRANSLATE_ADDRESS_ROUTINE64 translateAddress);

    // The unwinder's description of the function at an address; null if there is none.
    PLINTH_PLATFORM_API PVOID WINAPI SymFunctionTableAccess64(HANDLE process, DWORD64 address);

    PLINTH_PLATFORM_API DWORD WINAPI SymSetOptions(DWORD options); // returns the new options
    PLINTH_PLATFORM_API DWORD WINAPI SymGetOptions(void);

    // searchPath must be null. Modules become known by SymLoadModule64; with invade all modules
    // loaded now become known at once.
    PLINTH_PLATFORM_API BOOL WINAPI SymInitialize(HANDLE process, LPCSTR searchPath, BOOL invade);

    // Makes the module at base known. image: its path, which is also the name that
    // SymGetModuleInfo64 returns; without one the call fails. file and module may be null, size 0.
    // Returns base. Once any module has been unloaded all must be made known again, as addresses
    // are reused.
    PLINTH_PLATFORM_API DWORD64 WINAPI SymLoadModule64(HANDLE process, HANDLE file, LPCSTR image,
                                                       LPCSTR module, DWORD64 base, DWORD size);
    PLINTH_PLATFORM_API BOOL WINAPI SymGetModuleInfo64(HANDLE process, DWORD64 address,
                                                       PIMAGEHLP_MODULE64 info);
    PLINTH_PLATFORM_API BOOL WINAPI SymGetSymFromAddr64(HANDLE process, DWORD64 address,
                                                        DWORD64* displacement,
                                                        PIMAGEHLP_SYMBOL64 symbol);
    PLINTH_PLATFORM_API BOOL WINAPI SymGetLineFromAddr64(HANDLE process, DWORD64 address,
                                                         LPDWORD displacement,
                                                         PIMAGEHLP_LINE64 line);

#ifdef __cplusplus
}
static_assert(sizeof(IMAGEHLP_MODULE64) == 1672 && offsetof(IMAGEHLP_MODULE64, ImageName) == 68);
static_assert(sizeof(IMAGEHLP_LINE64) == 40 && sizeof(IMAGEHLP_SYMBOL64) == 32);
static_assert(offsetof(IMAGEHLP_SYMBOL64, Name) == 28);
static_assert(sizeof(ADDRESS64) == 16 && sizeof(KDHELP64) == 112 && sizeof(STACKFRAME64) == 264);
#endif

#endif

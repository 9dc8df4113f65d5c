// The size of the memory, and whether a document of a given size still fits.
//
// All sizes are in bytes. The limits are soft, below the most that the system could provide.
#include <atomic>
#include <memory>
#include <new>

#include <windows.h>

#include <psapi.h>

#include "paging_files.h"
#include "plinth_w32_system.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\memory\\memory";
constexpr double document_share = 0.75; // of a limit
constexpr uint64_t least_default_page_file = 0x100000000;

// Calculated at the first use and kept. Two threads may both calculate it, with the same result.
std::atomic<uint64_t> s_allocLimit{0};
std::atomic<unsigned char> s_allocLimitState{0}; // 0 not calculated yet, 1 valid

void Put(uint64_t* to, uint64_t value)
{
    if (to)
        *to = value;
}

// Reads the value's text into an array that is longer than the value, so that it is terminated
// whatever was stored. Null if there is no memory for it.
std::unique_ptr<wchar_t[]> ReadPagingFiles(HKEY hKey)
{
    DWORD dwType = 0;
    DWORD dwValSize = 0;
    if (RegQueryValueExW(hKey, L"PagingFiles", nullptr, &dwType, nullptr, &dwValSize) !=
        ERROR_SUCCESS)
        DiagAssertW(0,
                    L"ERROR_SUCCESS != RegQueryValueEx(hKey, n20(L\"PagingFiles\"), NULL, "
                    L"&dwType, NULL, &dwValSize)",
                    nullptr, source_name, __LINE__);
    dwValSize += 4;
    std::unique_ptr<wchar_t[]> wszValue(new (std::nothrow) wchar_t[dwValSize]());
    if (!wszValue)
        return nullptr;
    if (RegQueryValueExW(hKey, L"PagingFiles", nullptr, &dwType,
                         reinterpret_cast<LPBYTE>(wszValue.get()), &dwValSize) != ERROR_SUCCESS)
        DiagAssertW(0,
                    L"ERROR_SUCCESS != RegQueryValueEx(hKey, n20(L\"PagingFiles\"), NULL, "
                    L"&dwType, (LPBYTE)wszValue, &dwValSize)",
                    nullptr, source_name, __LINE__);
    return wszValue;
}

// The assumed size of a page file that the system manages itself.
uint64_t DefaultPageFile()
{
    uint64_t physical = 0;
    QV_GetMemoryStatus(&physical, nullptr, nullptr, nullptr, nullptr, nullptr);
    const uint64_t wanted = 3 * physical;
    return wanted > least_default_page_file ? wanted : least_default_page_file;
}

// The maximal size of the first page file; 0 if the system has no such setting.
uint64_t MaxPageFile()
{
    HKEY hKey = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                      L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management", 0,
                      KEY_READ, &hKey) != ERROR_SUCCESS)
        return 0;
    const std::unique_ptr<wchar_t[]> wszValue = ReadPagingFiles(hKey);
    RegCloseKey(hKey);
    const uint64_t megabytes = wszValue ? QvMaxPageFileMegabytes(wszValue.get()) : 0;
    const bool fixed = megabytes != 0;
    const uint64_t size = fixed ? megabytes << 20 : DefaultPageFile();
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(fixed ? L"Max page file size: %I64u" : L"Max page file size: %I64u (default)",
                      size);
    return size;
}

uint64_t AllocLimit()
{
    if (s_allocLimitState == 0)
    {
        uint64_t physical = 0;
        QV_GetMemoryStatus(&physical, nullptr, nullptr, nullptr, nullptr, nullptr);
        s_allocLimit = MaxPageFile() + physical;
        s_allocLimitState = 1;
    }
    return s_allocLimit;
}

// Whether used and size together exceed the share of a limit, and by how much.
bool Overflows(uint64_t used, uint64_t size, uint64_t whole, uint64_t* pOverflow)
{
    const auto limit = static_cast<uint64_t>(document_share * static_cast<double>(whole));
    if (used + size <= limit)
        return false;
    Put(pOverflow, used + size - limit);
    return true;
}

void TraceFigures(const wchar_t* format, uint64_t total, uint64_t available)
{
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(format, total, available);
}

} // namespace

extern "C" int QV_GetMemoryStatus(uint64_t* pTotalPhys, uint64_t* pAvailPhys,
                                  uint64_t* pTotalVirtual, uint64_t* pAvailVirtual,
                                  uint64_t* pTotalPageFile, uint64_t* pAvailPageFile)
{
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof status;
    GlobalMemoryStatusEx(&status);
    Put(pTotalPhys, status.ullTotalPhys);
    Put(pAvailPhys, status.ullAvailPhys);
    Put(pTotalVirtual, status.ullTotalVirtual);
    Put(pAvailVirtual, status.ullAvailVirtual);
    Put(pTotalPageFile, status.ullTotalPageFile);
    Put(pAvailPageFile, status.ullAvailPageFile);
    return QV_OK;
}

extern "C" int QV_GetMemoryInfo(uint64_t* pCommitTotal, uint64_t* pCommitLimit,
                                uint64_t* pCommitPeak, uint64_t* pPhysicalTotal,
                                uint64_t* pPhysicalAvailable, uint64_t* pSystemCache)
{
    PERFORMANCE_INFORMATION info = {};
    if (!GetPerformanceInfo(&info, sizeof info))
        return QV_ERR_SYSTEM;
    const uint64_t page = info.PageSize;
    Put(pCommitTotal, info.CommitTotal * page);
    Put(pCommitLimit, info.CommitLimit * page);
    Put(pCommitPeak, info.CommitPeak * page);
    Put(pPhysicalTotal, info.PhysicalTotal * page);
    Put(pPhysicalAvailable, info.PhysicalAvailable * page);
    Put(pSystemCache, info.SystemCache * page);
    return QV_OK;
}

extern "C" int QV_GetAllocLimit(uint64_t* pCommitted, uint64_t* pLimit)
{
    if (pLimit)
        *pLimit = AllocLimit();
    if (pCommitted)
        return QV_GetMemoryInfo(pCommitted, nullptr, nullptr, nullptr, nullptr, nullptr);
    return QV_OK;
}

extern "C" bool QV_CheckSingleDocumentSizeOverflow(uint64_t size, uint64_t* pOverflow, bool bTrace)
{
    uint64_t totalPhys = 0;
    uint64_t availPhys = 0;
    uint64_t totalVirtual = 0;
    uint64_t availVirtual = 0;
    uint64_t totalPageFile = 0;
    uint64_t availPageFile = 0;
    QV_GetMemoryStatus(&totalPhys, &availPhys, &totalVirtual, &availVirtual, &totalPageFile,
                       &availPageFile);
    if (bTrace)
    {
        TraceFigures(L"Physical Memory: %I64u (%I64u)", totalPhys, availPhys);
        TraceFigures(L"Virtual Memory: %I64u (%I64u)", totalVirtual, availVirtual);
        TraceFigures(L"Page File: %I64u (%I64u)", totalPageFile, availPageFile);
    }
    if (size > totalPhys / 2)
    {
        Put(pOverflow, 0);
        return true;
    }
    if (Overflows(totalVirtual - availVirtual, size, totalVirtual, pOverflow))
        return true;
    uint64_t committed = 0;
    uint64_t limit = 0;
    if (QV_GetAllocLimit(&committed, &limit) != QV_OK)
        return false; // if unknown, assume that it fits
    return Overflows(committed, size, limit, pOverflow);
}

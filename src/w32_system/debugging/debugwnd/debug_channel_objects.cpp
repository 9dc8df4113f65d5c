// Creates the objects of the debug string channel for a listener. After a step that fails, the rest
// is not done; the destructor closes the existing objects.
#include <windows.h>

#include "debug_framework.h"
#include "plinth_w32_system.h"

namespace
{

constexpr DWORD buffer_size = 4096;

// Reports a failed step. Always returns false, so that the caller stops.
bool Failed(const wchar_t* expression, const wchar_t* message, int line)
{
    DiagAssertW(0, expression, message, qv_debugwnd_source, line);
    return false;
}

bool MakeSecurity(COutDbgStringSync& sync)
{
    sync.m_sa.nLength = sizeof sync.m_sa;
    sync.m_sa.lpSecurityDescriptor = &sync.m_sd;
    sync.m_sa.bInheritHandle = TRUE;
    if (!InitializeSecurityDescriptor(&sync.m_sd, SECURITY_DESCRIPTOR_REVISION))
        return Failed(L"!InitializeSecurityDescriptor(&m_sd, SECURITY_DESCRIPTOR_REVISION)",
                      L"Unable to initialize Security Descriptor", __LINE__);
    // Without an access list, any process may write.
    if (!SetSecurityDescriptorDacl(&sync.m_sd, TRUE, nullptr, FALSE))
        return Failed(L"!SetSecurityDescriptorDacl(&m_sd, TRUE, (PACL)NULL, FALSE)",
                      L"Unable to set Security Descriptor", __LINE__);
    return true;
}

bool MakeEvents(COutDbgStringSync& sync, bool quiet)
{
    SetLastError(ERROR_SUCCESS);
    sync.m_eventDBWIN_BUFFER_READY = CreateEventA(&sync.m_sa, FALSE, FALSE, "DBWIN_BUFFER_READY");
    const DWORD error = GetLastError();
    if (!sync.m_eventDBWIN_BUFFER_READY)
        return Failed(L"!m_eventDBWIN_BUFFER_READY",
                      L"Unable to create synchronization object DBWIN_BUFFER_READY", __LINE__);
    if (error == ERROR_ALREADY_EXISTS)
    {
        // Closed at once: the event belongs to the other listener. Only that listener may signal
        // it, and it must not exist longer than that listener.
        CloseHandle(sync.m_eventDBWIN_BUFFER_READY);
        sync.m_eventDBWIN_BUFFER_READY = nullptr;
        if (!quiet)
            MessageBoxW(nullptr, L"There is tracing logger already running...", L"plinth Tracing",
                        MB_ICONEXCLAMATION);
        return false;
    }
    sync.m_eventDBWIN_DATA_READY = CreateEventA(&sync.m_sa, FALSE, FALSE, "DBWIN_DATA_READY");
    if (!sync.m_eventDBWIN_DATA_READY)
        return Failed(L"NULL == m_eventDBWIN_DATA_READY",
                      L"Unable to create synchronization object DBWIN_DATA_READY", __LINE__);
    return true;
}

bool MakeBuffer(COutDbgStringSync& sync)
{
    sync.m_SharedFile = CreateFileMappingA(INVALID_HANDLE_VALUE, &sync.m_sa, PAGE_READWRITE, 0,
                                           buffer_size, "DBWIN_BUFFER");
    if (!sync.m_SharedFile)
        return Failed(L"!m_SharedFile", L"Unable to create file mapping object DBWIN_BUFFER",
                      __LINE__);
    sync.m_SharedMem = MapViewOfFile(sync.m_SharedFile, FILE_MAP_READ, 0, 0, buffer_size);
    if (!sync.m_SharedMem)
        return Failed(L"!m_SharedMem", L"Unable to map shared memory", __LINE__);
    return true;
}

} // namespace

COutDbgStringSync::COutDbgStringSync(bool bQuiet)
    : m_bValid(false), m_eventDBWIN_BUFFER_READY(nullptr), m_eventDBWIN_DATA_READY(nullptr),
      m_SharedFile(nullptr), m_SharedMem(nullptr), m_sa(), m_sd()
{
    m_bValid = MakeSecurity(*this) && MakeEvents(*this, bQuiet) && MakeBuffer(*this);
}

COutDbgStringSync::~COutDbgStringSync()
{
    // A writer may have returned since the listener's thread released the last one. It keeps the
    // event open while it waits, so it would not notice that the objects are closed, and would wait
    // until its limit.
    if (m_bValid)
        SetEvent(m_eventDBWIN_BUFFER_READY);
    if (m_eventDBWIN_BUFFER_READY)
        CloseHandle(m_eventDBWIN_BUFFER_READY);
    if (m_eventDBWIN_DATA_READY)
        CloseHandle(m_eventDBWIN_DATA_READY);
    if (m_SharedMem)
        UnmapViewOfFile(m_SharedMem);
    if (m_SharedFile)
        CloseHandle(m_SharedFile);
}

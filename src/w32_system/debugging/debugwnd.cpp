// The two threads at the receiving end of the debug string channel.
//
// The listener copies a text and gives the channel back, nothing else: every process that writes
// waits for it. What is slow stands behind the cache, on the adder.
#include <process.h>
#include <windows.h>

#include "at_fork.h"
#include "debug_framework.h"
#include "plinth_w32_system.h"
#include "thread_end.h"

namespace
{

constexpr DWORD poll_interval = 200; // ms between the adder's looks at an empty cache
constexpr DWORD thread_limit = 3000; // ms that a thread has to end by itself
constexpr size_t text_offset = 4;    // of the text in the channel's buffer, behind the process id
constexpr size_t wide_limit = 1024;  // characters of a text

HANDLE StartThread(unsigned (*procedure)(void*), void* framework, uint32_t& id)
{
    unsigned threadId = 0;
    const uintptr_t thread = _beginthreadex(nullptr, 0, procedure, framework, 0, &threadId);
    id = threadId;
    return reinterpret_cast<HANDLE>(thread);
}

// Waits for a thread that was asked to end, ends it if it doesn't, and forgets it.
void EndThread(HANDLE& thread, uint32_t& id)
{
    QvEndThread(thread, thread_limit, 0);
    CloseHandle(thread);
    thread = nullptr;
    id = 0;
}

unsigned __stdcall ListenerStart(void* framework)
{
    const unsigned result = CDebugFramework::listener_thread_proc(framework);
    QvLeaveThread();
    return result;
}

unsigned __stdcall AdderStart(void* framework)
{
    const unsigned result = CDebugFramework::adder_thread_proc(framework);
    QvLeaveThread();
    return result;
}

} // namespace

CDebugFramework::CDebugFramework() : CDebugFramework(false) {}

CDebugFramework::CDebugFramework(bool bQuiet)
    : m_bFirstItem(true), m_hParent(nullptr), m_lPending(0), m_ListenerThread(nullptr),
      m_uListenerThreadId(0), m_bListenerRun(false), m_AdderThread(nullptr), m_uAdderThreadId(0),
      m_bAdderRun(false), m_Sync(bQuiet)
{
    QvFrameworksAtFork::Enter(*this);
}

void CDebugFramework::StartThreads(const char* sourceFile)
{
    m_bListenerRun = true;
    m_ListenerThread = StartThread(ListenerStart, this, m_uListenerThreadId);
    if (!m_ListenerThread)
        DiagAssertW(0, L"m_ListenerThread == NULL", L"ListenerThread service failure", sourceFile,
                    __LINE__);
    m_bAdderRun = true;
    m_AdderThread = StartThread(AdderStart, this, m_uAdderThreadId);
    if (!m_AdderThread)
        DiagAssertW(0, L"m_AdderThread == NULL", L"AdderThread service failure", sourceFile,
                    __LINE__);
}

void CDebugFramework::StopThreads()
{
    if (m_ListenerThread)
    {
        m_bListenerRun = false;
        if (m_Sync.m_eventDBWIN_DATA_READY)
            SetEvent(m_Sync.m_eventDBWIN_DATA_READY);
        EndThread(m_ListenerThread, m_uListenerThreadId);
    }
    if (m_AdderThread)
    {
        m_bAdderRun = false;
        ++m_lPending; // ends the polling
        EndThread(m_AdderThread, m_uAdderThreadId);
    }
}

unsigned int CDebugFramework::listener_thread_proc(void* pThis)
{
    auto& self = *static_cast<CDebugFramework*>(pThis);
    COutDbgStringSync& sync = self.m_Sync;
    if (!SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL))
        DiagAssertW(0, L"!SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL)",
                    L"Set thread priority failure in listener_thread_proc()", qv_debugwnd_source,
                    __LINE__);
    else if (sync.m_bValid)
    {
        SetEvent(sync.m_eventDBWIN_BUFFER_READY);
        for (;;)
        {
            const DWORD ret = WaitForSingleObject(sync.m_eventDBWIN_DATA_READY, INFINITE);
            if (!self.m_bListenerRun)
                break;
            if (ret != WAIT_OBJECT_0)
            {
                DiagAssertW(0, L"ret != WAIT_OBJECT_0", L"Wait failed", qv_debugwnd_source,
                            __LINE__);
                break;
            }
            // Copied and counted before the buffer is given back. A text without memory is lost.
            if (self.m_Cache.PushBack(static_cast<char*>(sync.m_SharedMem) + text_offset) == QV_OK)
                ++self.m_lPending;
            SetEvent(sync.m_eventDBWIN_BUFFER_READY);
        }
    }
    // So that no writer stays blocked.
    if (sync.m_eventDBWIN_BUFFER_READY)
        SetEvent(sync.m_eventDBWIN_BUFFER_READY);
    return 0;
}

unsigned int CDebugFramework::adder_thread_proc(void* pThis)
{
    auto& self = *static_cast<CDebugFramework*>(pThis);
    const uint32_t forks = QvForkCount();
    wchar_t text[wide_limit] = L"";
    for (;;)
    {
        while (self.m_lPending < 1)
            Sleep(poll_interval);
        if (!self.m_bAdderRun)
            return 0;
        --self.m_lPending;
        self.m_Cache.PopFrontW(text);
        self.AddItem(text);
        if (QvForkCount() != forks)
            return 0; // the child of a callback
    }
}

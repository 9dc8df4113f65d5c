// The two threads at the receiving end of the debug string channel.
//
// The listener only copies a text and frees the channel, because every writing process waits for
// it. The slow work is done by the adder, after the cache.
#include <utility>

#include <windows.h>

#include "at_fork.h"
#include "debug_framework.h"
#include "own_thread.h"
#include "plinth_w32_system.h"

namespace
{

constexpr DWORD poll_interval = 200; // ms between two checks of an empty cache by the adder
constexpr DWORD thread_limit = 3000; // ms that a thread gets to end by itself
constexpr size_t text_offset = 4;    // of the text in the channel's buffer, after the process id
constexpr size_t wide_limit = 1024;  // characters of a text

} // namespace

// The thread procedures that the system calls; they call the procedures of the interface.
struct QvFrameworkThreads
{
    static unsigned __stdcall Listen(void* framework)
    {
        auto& stage = static_cast<CDebugFramework*>(framework)->m_ListenerStage;
        return Run(CDebugFramework::listener_thread_proc, framework, stage);
    }
    static unsigned __stdcall Add(void* framework)
    {
        auto& stage = static_cast<CDebugFramework*>(framework)->m_AdderStage;
        return Run(CDebugFramework::adder_thread_proc, framework, stage);
    }

private:
    static unsigned Run(unsigned (*procedure)(void*), void* framework, QvThreadStage& stage)
    {
        const unsigned result = QvBeginThread(stage) ? procedure(framework) : 0;
        QvLeaveThread(stage);
        return result;
    }
};

CDebugFramework::CDebugFramework() : CDebugFramework(false) {}

CDebugFramework::CDebugFramework(bool bQuiet)
    : m_bFirstItem(true), m_hParent(nullptr), m_lPending(0), m_ListenerThread(nullptr),
      m_uListenerThreadId(0), m_bListenerRun(false), m_AdderThread(nullptr), m_uAdderThreadId(0),
      m_bAdderRun(false), m_Sync(bQuiet), m_ListenerStage(0), m_AdderStage(0)
{
    QvFrameworksAtFork::Enter(*this);
}

void CDebugFramework::StartThreads(const char* sourceFile)
{
    m_bListenerRun = true;
    m_ListenerThread =
        QvStartThread(QvFrameworkThreads::Listen, this, m_uListenerThreadId, m_ListenerStage);
    if (!m_ListenerThread)
        DiagAssertW(0, L"m_ListenerThread == NULL", L"ListenerThread service failure", sourceFile,
                    __LINE__);
    m_bAdderRun = true;
    m_AdderThread = QvStartThread(QvFrameworkThreads::Add, this, m_uAdderThreadId, m_AdderStage);
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
        QvEndThread(std::exchange(m_ListenerThread, nullptr), m_ListenerStage, thread_limit, 0);
        m_uListenerThreadId = 0;
    }
    if (m_AdderThread)
    {
        m_bAdderRun = false;
        ++m_lPending; // ends the polling
        QvEndThread(std::exchange(m_AdderThread, nullptr), m_AdderStage, thread_limit, 0);
        m_uAdderThreadId = 0;
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
            // Copied and counted before the buffer is freed. A text is lost if there is no memory
            // for it.
            if (self.m_Cache.PushBack(static_cast<char*>(sync.m_SharedMem) + text_offset) == QV_OK)
                ++self.m_lPending;
            SetEvent(sync.m_eventDBWIN_BUFFER_READY);
        }
    }
    // Otherwise a writer could stay blocked.
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
            return 0; // in the child of a callback
    }
}

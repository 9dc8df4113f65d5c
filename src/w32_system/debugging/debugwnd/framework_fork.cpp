// Debug frameworks and forks: the threads and the channel's objects belong to the parent. A child
// closes its copies of the objects at once, because a listener exists as long as a process holds
// them.
#include <new>

#include <windows.h>

#include <plinth_w32_pthreadVC.h>

#include "at_fork.h"
#include "debug_framework.h"
#include "plinth_w32_system.h"

namespace
{

struct Entry
{
    CDebugFramework* framework;
    Entry* next;
};

pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER; // guards the list; no lock is taken under it
Entry* s_first = nullptr;

const QvAtFork s_atFork(QvForkStep::debug_frameworks,
                        {[] { pthread_mutex_lock(&s_lock); }, [] { pthread_mutex_unlock(&s_lock); },
                         QvFrameworksAtFork::Renew});

void LetGo(HANDLE& handle)
{
    if (handle)
        CloseHandle(handle);
    handle = nullptr;
}

} // namespace

void QvFrameworksAtFork::Enter(CDebugFramework& framework)
{
    auto* const entry = new Entry{&framework, nullptr};
    pthread_mutex_lock(&s_lock);
    entry->next = s_first;
    s_first = entry;
    pthread_mutex_unlock(&s_lock);
}

void QvFrameworksAtFork::TakeOut(const CDebugFramework& framework)
{
    pthread_mutex_lock(&s_lock);
    Entry** at = &s_first;
    while (*at && (*at)->framework != &framework)
        at = &(*at)->next;
    Entry* const gone = *at;
    if (gone)
        *at = gone->next;
    pthread_mutex_unlock(&s_lock);
    delete gone;
}

void QvFrameworksAtFork::Renew()
{
    for (Entry* each = s_first; each; each = each->next)
        each->framework->Renew();
}

void CDebugFramework::Renew()
{
    LetGo(m_ListenerThread);
    LetGo(m_AdderThread);
    m_uListenerThreadId = m_uAdderThreadId = 0;
    LetGo(m_Sync.m_eventDBWIN_BUFFER_READY);
    LetGo(m_Sync.m_eventDBWIN_DATA_READY);
    if (m_Sync.m_SharedMem)
        UnmapViewOfFile(m_Sync.m_SharedMem);
    m_Sync.m_SharedMem = nullptr;
    LetGo(m_Sync.m_SharedFile);
    m_Sync.m_bValid = false;
    m_lPending = 0;
    // The parent's threads may have been changing these.
    ::new (static_cast<void*>(&m_Cache)) CSyncCache;
    ::new (static_cast<void*>(&m_Windows)) std::map<int32_t, CDebugWindow*>;
}

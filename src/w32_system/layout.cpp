// Where the fields of the interface's structures and classes are. Programs that were compiled
// against an earlier header rely on these places, so moving a field must not go unnoticed. The
// places are the same on all systems.
#include <atomic>
#include <cstddef>
#include <list>
#include <map>
#include <vector>

#include <plinth_w32_pthreadVC.h>

#include "plinth_w32_system.h"

#define AT(structure, field, place) static_assert(offsetof(structure, field) == (place))

AT(QvAsyncIo, offset, 0);
AT(QvAsyncIo, context, 8);
AT(QvAsyncIo, completion, 16);
static_assert(sizeof(QvAsyncIo) == 24);

AT(QvFindData, creationTime, 0);
AT(QvFindData, accessTime, 8);
AT(QvFindData, writeTime, 16);
AT(QvFindData, size, 24);
AT(QvFindData, name, 32);
AT(QvFindData, isDirectory, 552);
static_assert(sizeof(QvFindData) == 560);

AT(QvVolumeInfo, type, 0);
AT(QvVolumeInfo, name, 8);
AT(QvVolumeInfo, nameSize, 16);
AT(QvVolumeInfo, extra, 24);
AT(QvVolumeInfo, extraSize, 32);
AT(QvVolumeInfo, flags, 36);
static_assert(sizeof(QvVolumeInfo) == 40);

AT(QvTimerRecord, iKind, 0);
AT(QvTimerRecord, uSystemId, 8);
AT(QvTimerRecord, thread, 16);
AT(QvTimerRecord, pData, 24);
AT(QvTimerRecord, i64IntervalNs, 32);
AT(QvTimerRecord, iCallsLeft, 40);
AT(QvTimerRecord, dStartTime, 48);
AT(QvTimerRecord, dLastTime, 56);
AT(QvTimerRecord, iPrecision, 64);
AT(QvTimerRecord, iCatchUpMode, 68);
AT(QvTimerRecord, pfnCallback, 72);
AT(QvTimerRecord, hEvent, 80);
AT(QvTimerRecord, bStop, 88);
AT(QvTimerRecord, uId, 96);
static_assert(sizeof(QvTimerRecord) == 104);

AT(QvTimerInfo, dStartTime, 0);
AT(QvTimerInfo, iPrecision, 8);
AT(QvTimerInfo, iCatchUpMode, 12);
AT(QvTimerInfo, iKind, 16);
static_assert(sizeof(QvTimerInfo) == 24);

AT(QV_HOSTENT, h_name, 0);
AT(QV_HOSTENT, h_aliases, 8);
AT(QV_HOSTENT, h_addrtype, 16);
AT(QV_HOSTENT, h_length, 18);
AT(QV_HOSTENT, h_addr_list, 24);
static_assert(sizeof(QV_HOSTENT) == 32);

AT(QV_SERVENT, s_name, 0);
AT(QV_SERVENT, s_aliases, 8);
AT(QV_SERVENT, s_port, 16);
AT(QV_SERVENT, s_proto, 24);
static_assert(sizeof(QV_SERVENT) == 32);

AT(QV_PROTOENT, p_name, 0);
AT(QV_PROTOENT, p_aliases, 8);
AT(QV_PROTOENT, p_proto, 16);
static_assert(sizeof(QV_PROTOENT) == 24);

AT(CSyncCacheMember, m_szText, 0);
static_assert(sizeof(CSyncCacheMember) == 1024);

static_assert(sizeof(CQvByteArrayW32) == 24 && alignof(CQvByteArrayW32) == 8);
static_assert(sizeof(CQvRscData) == 16 && alignof(CQvRscData) == 8);
static_assert(sizeof(CQvTraceExecutionTime) == 32 && alignof(CQvTraceExecutionTime) == 8);

// The standard does not define offsets in a class with virtual functions; these compilers do.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

AT(COutDbgStringSync, m_bValid, 8);
AT(COutDbgStringSync, m_eventDBWIN_BUFFER_READY, 16);
AT(COutDbgStringSync, m_eventDBWIN_DATA_READY, 24);
AT(COutDbgStringSync, m_SharedFile, 32);
AT(COutDbgStringSync, m_SharedMem, 40);
AT(COutDbgStringSync, m_sa, 48);
AT(COutDbgStringSync, m_sd, 72);
static_assert(sizeof(COutDbgStringSync) == 112 && alignof(COutDbgStringSync) == 8);

namespace
{

// The order of members in classes that contain types whose sizes the standard library or the system
// sets.
struct CacheLike
{
    std::list<CSyncCacheMember> texts;
    CRITICAL_SECTION lock;
};

struct FrameworkLike
{
    void* functions;
    bool first;
    HWND parent;
    std::map<int32_t, void*> windows;
    std::atomic<int32_t> pending;
    HANDLE listener;
    uint32_t listenerId;
    std::atomic<bool> listenerRuns;
    HANDLE adder;
    uint32_t adderId;
    std::atomic<bool> adderRuns;
    COutDbgStringSync channel;
    CacheLike cache;
    std::atomic<uint32_t> listenerStage, adderStage;
};

// NOLINTBEGIN(misc-redundant-expression): that both sides are equal is what is asserted
static_assert(sizeof(CSyncCache) == sizeof(CacheLike) && alignof(CSyncCache) == alignof(CacheLike));
static_assert(sizeof(CDebugFramework) == sizeof(FrameworkLike) &&
              alignof(CDebugFramework) == alignof(FrameworkLike));

#define SAME(member, like)                                                                         \
    static_assert(offsetof(DerivedFramework, member) == offsetof(FrameworkLike, like))

// Programs derive from the class and use its protected members.
struct DerivedFramework : CDebugFramework
{
    static void Check()
    {
        SAME(m_bFirstItem, first);
        SAME(m_hParent, parent);
        SAME(m_Windows, windows);
        SAME(m_lPending, pending);
        SAME(m_ListenerThread, listener);
        SAME(m_uListenerThreadId, listenerId);
        SAME(m_bListenerRun, listenerRuns);
        SAME(m_AdderThread, adder);
        SAME(m_uAdderThreadId, adderId);
        SAME(m_bAdderRun, adderRuns);
        SAME(m_Sync, channel);
        SAME(m_Cache, cache);
    }
};

#pragma GCC diagnostic pop

// The order of a pool's members, with space for objects of the threads module, whose sizes differ
// between systems (threadpool.h asserts them).
struct PoolLike
{
    pthread_mutex_t pool, threads;
    pthread_cond_t finish;
    uint32_t count, working;
    bool destroying;
    void* called;
    std::vector<void*> workers;
    alignas(8) sem_t context;
    void* (*call)(void*);
    void *argument, *next;
};

} // namespace

static_assert(sizeof(CThreadPool) == sizeof(PoolLike) && alignof(CThreadPool) == alignof(PoolLike));
// NOLINTEND(misc-redundant-expression)

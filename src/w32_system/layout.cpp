// Where the fields of the interface's structures are. Programs that were compiled against an
// earlier header rely on it, so a field that moves must not go unnoticed. The same on all systems.
#include <cstddef>
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

namespace
{

// The order of a pool's members with the room for the objects of the threads module, whose sizes
// differ from system to system (threadpool.h asserts them).
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

// Unique identifiers.
#ifndef PLINTH_PLATFORM_RPC_H
#define PLINTH_PLATFORM_RPC_H

#include "guiddef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    typedef GUID UUID;
    typedef LONG RPC_STATUS;

#define RPC_S_OK 0
#define RPC_S_INVALID_ARG 87
#define RPC_S_OUT_OF_RESOURCES 1721
#define RPC_S_UUID_LOCAL_ONLY 1824

    // A random identifier (version 4). RPC_S_OUT_OF_RESOURCES if the kernel returns no random
    // bytes.
    PLINTH_PLATFORM_API RPC_STATUS WINAPI UuidCreate(UUID* uuid);

#ifdef __cplusplus
}
static_assert(sizeof(UUID) == 16);
#endif

#endif

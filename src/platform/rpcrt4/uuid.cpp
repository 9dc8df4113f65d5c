// Random identifiers, from the kernel's generator.
#include <windows.h>

#include "system/calls.h"
#include "system/faults.h"

using namespace platform;

extern "C" RPC_STATUS UuidCreate(UUID* uuid)
{
    int fault = 0;
    if (api_fault("UuidCreate", fault))
        return fault;
    if (!uuid)
        return RPC_S_INVALID_ARG;
    UUID random;
    // Up to 256 bytes are always returned whole once the generator is ready.
    if (sys::getrandom(&random, sizeof random) != static_cast<ssize_t>(sizeof random))
        return RPC_S_OUT_OF_RESOURCES;
    random.Data3 = static_cast<USHORT>((random.Data3 & 0x0FFF) | 0x4000);
    random.Data4[0] = static_cast<UCHAR>((random.Data4[0] & 0x3F) | 0x80);
    *uuid = random;
    return RPC_S_OK;
}

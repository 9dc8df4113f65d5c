// The key of a handle, and helpers shared by the registry calls.
#pragma once

#include <new>
#include <string>

#include "hive_store.h"
#include "system/faults.h"
#include "winerror.h"
#include "winnt.h"

namespace platform
{

struct OpenKey
{
    HiveId hive = HiveId::local_machine;
    std::string path; // folded
    std::string name; // as the caller wrote it
    DWORD access = 0;
};

// False if the handle has no key.
bool resolve_key(HKEY key, OpenKey& result);

// Copies a value's data to a caller. *size is the room in bytes, and becomes the size of the data;
// without data only the size is returned. ERROR_MORE_DATA, and nothing copied, if the room is too
// small.
LONG copy_data(const RegValue& value, LPBYTE data, LPDWORD size);

// A call of the registry must return an error number and throw nothing. name: of its fault.
template <class Call> LONG guarded_call(const char* name, Call call)
{
    int fault = 0;
    if (api_fault(name, fault))
        return fault;
    try
    {
        return call();
    }
    catch (const std::bad_alloc&)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace platform

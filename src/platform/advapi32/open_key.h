// What a key handle names, and what the calls of the registry share.
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

// False for a handle that names no key.
bool resolve_key(HKEY key, OpenKey& result);

// Gives a value's data to a caller. *size is the room in bytes, and then what the data has; without
// data only the size is asked for. ERROR_MORE_DATA, and nothing copied, if the room is too small.
LONG copy_data(const RegValue& value, LPBYTE data, LPDWORD size);

// Nothing may leave a call of the registry but a number. name: of its fault.
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

// The hives on disk: one file each, read again only when it has changed, changed under a lock.
#pragma once

#include <functional>
#include <memory>

#include "reg_text.h"

namespace platform
{

enum class HiveId
{
    local_machine,
    current_user,
    classes_root,
    users,
    count
};

// A snapshot of a hive as it is on disk now; it doesn't change. A damaged file is kept aside under
// another name, reported on stderr once, and counts as empty. Null with error if it can't be read.
std::shared_ptr<const Hive> read_hive(HiveId id, DWORD& error);

// Changes a hive: reads it under the lock, lets the function change it and, if that gives 0, writes
// it to a temporary file and puts that in place. Other processes' changes are never lost. The
// function's result, or the system error of what failed; the old file is whole then.
DWORD change_hive(HiveId id, const std::function<DWORD(Hive&)>& change);

} // namespace platform

// The hives on disk: one file each, read again only after a change, and changed under a lock.
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

// A snapshot of a hive as it is on disk now; the snapshot doesn't change. A damaged file is moved
// aside under another name, reported on stderr once, and counts as empty. Null with error if the
// hive can't be read.
std::shared_ptr<const Hive> read_hive(HiveId id, DWORD& error);

// Changes a hive: reads it under the lock, lets the function change it and, if that returns 0,
// writes it to a temporary file, which then replaces the old one. Other processes' changes are
// never lost. Returns the function's result, or the system error of a failure; the old file then
// stays whole.
DWORD change_hive(HiveId id, const std::function<DWORD(Hive&)>& change);

} // namespace platform

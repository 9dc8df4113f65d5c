// The folder of the machine-wide state.
#pragma once

#include <string>

namespace platform
{

// PLINTH_ROOT if set, else /var/lib/plinth if it can be written, else $XDG_STATE_HOME/plinth or
// ~/.local/state/plinth, else /tmp/.plinth-<uid>/plinth. A native, plain path (plain_path.h), fixed
// at its first use and guarded from then on. A missing folder is made. Folders of the user
// alone become private; one that another user owns is skipped, with a line on standard error, and
// if the last one is such a folder the path is one that can't exist.
const std::string& root_folder();

// The user's home, native: HOME if that is absolute, else from the user database; empty if neither
// has one.
std::string home_folder();

// The folder of this user's named objects and of the debug string channel: plinth-<uid> in
// /dev/shm, or in /tmp where that can't be written; private (0700), guarded, and refused (empty,
// with a line on standard error) if another user owns it. Each PLINTH_ROOT counts as a machine of
// its own: the name is then plinth-<uid>-<FNV-1a hash of its plain path, 64 bits, 16 hex digits>.
const std::string& shared_folder();

} // namespace platform

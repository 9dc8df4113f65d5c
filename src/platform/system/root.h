// Where the machine-wide state lies on this system.
#pragma once

#include <string>

namespace platform
{

// PLINTH_ROOT if set, else /var/lib/plinth if it can be written, else $XDG_STATE_HOME/plinth or
// ~/.local/state/plinth, else /tmp/.plinth-<uid>/plinth. A native path without a slash at the end,
// fixed at its first use and guarded from then on. The folder is made if it is missing. Those of
// the user alone become private; one that somebody else owns is passed over, with a line on
// standard error, and if the last is such a one the path is one that can't exist.
const std::string& root_folder();

// The user's home, native: HOME if that is absolute, else what the system knows of the user; empty
// if that is nothing.
std::string home_folder();

// The folder of this user's named objects and of the debug string channel: plinth-<uid> in
// /dev/shm, or in /tmp where that can't be written; private (0700), guarded, and refused (empty,
// with a line on standard error) if somebody else owns it. A PLINTH_ROOT of its own is a machine of
// its own: the name is then plinth-<uid>-<FNV-1a hash of that path, 64 bits, 16 hex digits>.
const std::string& shared_folder();

} // namespace platform

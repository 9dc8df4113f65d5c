// Folders of shared objects whose root no longer exists.
#pragma once

#include <string>

namespace platform
{

// Writes into a folder of shared objects which root it belongs to.
void name_root_of(const std::string& shared, const std::string& root);

// Removes the folders beside a folder of shared objects that belong to the same user and whose root
// no longer exists, unless a process still holds an object in them. prefix: the start of their
// names, up to the hash of the root. Folders that can't be removed stay.
void remove_leftovers(const std::string& beside, const std::string& prefix);

} // namespace platform

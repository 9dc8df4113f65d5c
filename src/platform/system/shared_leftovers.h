// Folders of shared objects whose machine is gone.
#pragma once

#include <string>

namespace platform
{

// Leaves in a folder of shared objects which root it belongs to.
void name_root_of(const std::string& shared, const std::string& root);

// Removes the folders beside a folder of shared objects that belong to the same user and to roots
// that are gone, unless somebody still holds an object in them. prefix: what their names begin
// with, up to the hash of the root. What can't be removed stays.
void remove_leftovers(const std::string& beside, const std::string& prefix);

} // namespace platform

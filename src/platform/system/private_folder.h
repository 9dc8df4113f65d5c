// Folders that belong to one user, in places where others can make names too.
#pragma once

#include <string>

namespace platform
{

// Whether a folder is the caller's own; sets its mode to 0700 if it has another. A link to a folder
// is followed if the caller made the link or no other user can write beside it. False, with one
// line on standard error, if the folder belongs to another user or can't be made private.
bool make_private(const std::string& folder);

// Whether nothing exists under the path.
bool is_missing(const std::string& path);

} // namespace platform

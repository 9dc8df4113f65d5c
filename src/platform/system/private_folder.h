// Folders that belong to one user, in places where others can make names too.
#pragma once

#include <string>

namespace platform
{

// Whether a folder is the caller's own, and gives it the mode 0700 if it has another. A link to one
// is followed if the caller made it or nobody else can write beside it. False, with one line on
// standard error, if it belongs to somebody else or can't be made private.
bool make_private(const std::string& folder);

// Whether nothing has the path.
bool is_missing(const std::string& path);

} // namespace platform

// Paths as they are compared.
#pragma once

#include <string>

namespace platform
{

// An absolute path without "//", "." and "..", and without a slash at its end, that leads to the
// same place: where ".." follows a link, the path continues from the link's target. Empty if such a
// link leads nowhere.
std::string plain_path(const std::string& path);

} // namespace platform

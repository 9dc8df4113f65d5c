#include "config_folder.h"

#include <cstdlib>

namespace trace
{

std::string config_folder()
{
    // A path that isn't absolute is ignored.
    if (const char* const folder = secure_getenv("XDG_CONFIG_HOME"); folder && folder[0] == '/')
        return std::string(folder) + "/plinth";
    if (const char* const home = secure_getenv("HOME"); home && home[0] == '/')
        return std::string(home) + "/.config/plinth";
    return {};
}

} // namespace trace

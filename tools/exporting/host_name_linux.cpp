#include "host_name.h"

#include <climits>

#include <unistd.h>

namespace trace
{

std::string host_name()
{
    char name[HOST_NAME_MAX + 1] = {};
    return gethostname(name, HOST_NAME_MAX) == 0 && name[0] ? name : "localhost";
}

} // namespace trace

// The runtime has no names of zones, only texts such as "CET-1CEST".
#include "zone.h"

#include <cstdlib>

#include <time.h>

namespace trace
{

bool use_zone(const std::string& name)
{
    const std::string zone = name == "UTC" ? "UTC0" : name;
    if (zone.find_first_of("0123456789") == std::string::npos)
        return false;
    _putenv_s("TZ", zone.c_str());
    _tzset();
    return true;
}

} // namespace trace

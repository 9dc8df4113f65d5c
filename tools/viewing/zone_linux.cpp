// The C library treats an unknown zone as UTC, so the name is checked before.
#include "zone.h"

#include <cstdlib>
#include <ctime>

#include <sys/stat.h>

namespace trace
{

namespace
{

// "CET-1CEST,M3.5.0,M10.5.0/3": at least three letters, then a number.
bool is_rule(const std::string& name)
{
    constexpr size_t least_letters = 3;
    const size_t letters =
        name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
    return letters != std::string::npos && letters >= least_letters &&
           std::string_view("+-0123456789").find(name[letters]) != std::string_view::npos &&
           name.find_first_of("0123456789", letters) <= letters + 1;
}

bool is_known(const std::string& name)
{
    if (name.empty() || name[0] == '/' || name.find("..") != std::string::npos)
        return false;
    struct stat found;
    const std::string path = "/usr/share/zoneinfo/" + name;
    return (stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode)) || is_rule(name);
}

} // namespace

bool use_zone(const std::string& name)
{
    if (name != "UTC" && !is_known(name))
        return false;
    setenv("TZ", name == "UTC" ? "UTC0" : name.c_str(), 1);
    tzset();
    return true;
}

} // namespace trace

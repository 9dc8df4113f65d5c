#include "temporary_file.h"

#include <cstdio>

#include "system/calls.h"

namespace platform
{

std::string temporary_beside(const std::string& target, const char* beginning)
{
    uint64_t number = 0;
    if (sys::getrandom(&number, sizeof number) != sizeof number)
        return "";
    char tail[24];
    std::snprintf(tail, sizeof tail, "%016llx", static_cast<unsigned long long>(number));
    if (beginning)
        return target + beginning + tail;
    const size_t slash = target.rfind('/');
    return (slash == std::string::npos ? "" : target.substr(0, slash + 1)) + temporary_beginning +
           tail;
}

} // namespace platform

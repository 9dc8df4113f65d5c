#include "host_name.h"

#include "text.h"

namespace trace
{

std::string host_name()
{
    wchar_t name[256] = {};
    DWORD size = sizeof name / sizeof name[0];
    return GetComputerNameExW(ComputerNameDnsHostname, name, &size) && name[0]
               ? utf8_from_wide(name)
               : "localhost";
}

} // namespace trace

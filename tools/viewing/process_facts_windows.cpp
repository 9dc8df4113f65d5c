#include "process_names.h"

#include "text.h"

namespace trace
{

std::optional<ProcessFacts> facts_of(DWORD process)
{
    const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (!handle)
        return std::nullopt;
    wchar_t image[1024];
    DWORD length = sizeof image / sizeof image[0];
    FILETIME start{}, other{};
    const bool known = QueryFullProcessImageNameW(handle, 0, image, &length) &&
                       GetProcessTimes(handle, &start, &other, &other, &other);
    CloseHandle(handle);
    if (!known)
        return std::nullopt;
    std::string name = utf8_from_wide(image, length);
    name.erase(0, name.find_last_of("\\/") + 1);
    return ProcessFacts{uint64_t{start.dwHighDateTime} << 32 | start.dwLowDateTime, name};
}

} // namespace trace

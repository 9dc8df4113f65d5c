#include "temporary_file.h"

#include <atomic>
#include <cstdio>

namespace platform
{

std::string temporary_beside(const std::string& target)
{
    static std::atomic<unsigned> number{0};
    char tail[64];
    std::snprintf(tail, sizeof tail, ".plinth-copy-%d-%u", getpid(), ++number);
    const size_t slash = target.rfind('/');
    return (slash == std::string::npos ? "" : target.substr(0, slash + 1)) + tail;
}

} // namespace platform

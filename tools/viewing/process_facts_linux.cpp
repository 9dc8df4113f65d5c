// From the files in which the kernel describes a process.
#include "process_names.h"

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "text.h"

namespace trace
{

namespace
{

std::string path_of(DWORD process, const char* file)
{
    return "/proc/" + std::to_string(process) + "/" + file;
}

std::string content_of(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    char content[1024]; // enough of "stat" to include the start
    const ssize_t length = read(file, content, sizeof content);
    close(file);
    return {content, static_cast<size_t>(length > 0 ? length : 0)};
}

// The 22nd field of "stat". The second, the name, may contain anything, also blanks and brackets.
uint64_t start_in(const std::string& stat)
{
    size_t at = stat.rfind(')');
    for (int field = 2; field < 22 && at != std::string::npos; ++field)
        at = stat.find(' ', at + 1);
    return at == std::string::npos ? 0 : std::strtoull(stat.c_str() + at, nullptr, 10);
}

} // namespace

std::optional<ProcessFacts> facts_of(DWORD process)
{
    const std::string stat = content_of(path_of(process, "stat"));
    if (stat.empty())
        return std::nullopt;
    // The image's file name. It is not available for a process that has ended or belongs to another
    // user: then the short name that the kernel keeps is used.
    char image[4096];
    const ssize_t length = readlink(path_of(process, "exe").c_str(), image, sizeof image);
    std::string name(image, static_cast<size_t>(length > 0 ? length : 0));
    name.erase(0, name.rfind('/') + 1);
    if (name.empty())
    {
        const size_t open = stat.find('(');
        const size_t close = stat.rfind(')');
        if (open != std::string::npos && close != std::string::npos && close > open)
            name = stat.substr(open + 1, close - open - 1);
    }
    return ProcessFacts{start_in(stat), utf8_from_narrow(name)};
}

} // namespace trace

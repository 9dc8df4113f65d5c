// The kernel's texts about control groups: the groups of a process, a zero byte, the mounts. Which
// folders come of them.
#include <string>
#include <string_view>

#include "fuzz_check.h"
#include "kernel32/memory_groups.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace platform;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(text.find('\0'), size);
    // Each in memory of exactly its size.
    const auto groups = std::make_unique<char[]>(end);
    std::copy_n(text.data(), end, groups.get());
    const size_t length = size - std::min(end + 1, size);
    const auto mounts = std::make_unique<char[]>(length);
    std::copy_n(text.data() + (size - length), length, mounts.get());

    const std::string_view mount_text(mounts.get(), length);
    const auto lines = static_cast<size_t>(std::count(mount_text.begin(), mount_text.end(), '\n'));
    const std::vector<GroupFolder> folders = memory_groups({groups.get(), end}, mount_text);
    fuzz::check(folders.size() <= (lines + 1) * (end + 1), "a folder for each level, no more");
    for (size_t i = 0; i < folders.size(); ++i)
    {
        fuzz::check(!folders[i].path.empty(), "a folder has a path");
        fuzz::check(folders[i].path.size() <= length + end, "which comes from the texts");
    }
    return 0;
}

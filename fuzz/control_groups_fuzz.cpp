// The kernel's texts about control groups: the groups of a process, a zero byte, the mounts. Checks
// the folders that are found in them.
#include <string_view>

#include "fuzz_target.h"
#include "kernel32/memory/memory_groups.h"

void fuzz::run(Input input)
{
    const uint8_t* const zero = std::find(input.data(), input.data() + input.size(), 0);
    // Each in memory of its own, which ends after the terminator.
    const auto groups = input.text<char>(static_cast<size_t>(zero - input.data()));
    input.byte();
    const auto mounts = input.text<char>();
    const auto lines = static_cast<size_t>(std::count(mounts.begin(), mounts.end(), '\n'));
    const auto folders = platform::memory_groups({groups.data(), groups.size() - 1},
                                                 {mounts.data(), mounts.size() - 1});
    check(folders.size() <= (lines + 1) * groups.size(), "a folder for each level, no more");
    for (const platform::GroupFolder& each : folders)
        check(!each.path.empty() && each.path.size() <= mounts.size() + groups.size() - 2,
              "a folder has a path, which comes from the texts");
}

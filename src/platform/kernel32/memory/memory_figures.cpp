// Memory figures from /proc and the control groups.
//
// The commit limit is physical memory plus swap, and the committed memory is the used part of it.
// The kernel's own sum of reservations (Committed_AS) is used only if the kernel refuses to exceed
// its limit (overcommit mode 2): otherwise the sum may be larger than the machine's memory without
// any refusal.
#include "memory_figures.h"

#include <algorithm>
#include <string>

#include "control_group.h"
#include "system/calls.h"
#include "system/kernel_files.h"
#include "system/kernel_text.h"
#include "system/last_error.h"

namespace platform
{

namespace
{

constexpr uint64_t user_addresses = 0x7FFFFFFE0000; // of a 64-bit process on the system

// A figure of /proc/meminfo, "Name:   123 kB", in bytes.
bool find_figure(std::string_view text, std::string_view name, uint64_t& bytes)
{
    std::string_view line;
    while (next_line(text, line))
    {
        if (!line.starts_with(name) || line.substr(name.size(), 1) != ":")
            continue;
        line.remove_prefix(name.size() + 1);
        const auto number = leading_number(next_field(line));
        return number && !__builtin_mul_overflow(*number, 1024u, &bytes);
    }
    return false;
}

uint64_t figure_or_0(std::string_view text, std::string_view name)
{
    uint64_t bytes = 0;
    return find_figure(text, name, bytes) ? bytes : 0;
}

// Kernels before Linux 3.14 don't provide the estimate.
uint64_t available(std::string_view text)
{
    uint64_t bytes = 0;
    if (find_figure(text, "MemAvailable", bytes))
        return bytes;
    return figure_or_0(text, "MemFree") + figure_or_0(text, "Buffers") +
           figure_or_0(text, "Cached");
}

bool promises_are_kept()
{
    std::string text;
    return read_kernel_file("/proc/sys/vm/overcommit_memory", text) && leading_number(text) == 2;
}

void read_commit(std::string_view text, const MemoryBounds& bounds, MemoryFigures& figures)
{
    const uint64_t swap = std::min(figure_or_0(text, "SwapTotal"), bounds.swap);
    const uint64_t swap_available = std::min(figure_or_0(text, "SwapFree"), bounds.swap_available);
    figures.commit_limit = std::min(figures.physical_total + swap, bounds.together);
    figures.commit_available =
        std::min(figures.physical_available + swap_available, bounds.together_available);
    uint64_t limit = 0;
    if (promises_are_kept() && find_figure(text, "CommitLimit", limit))
    {
        const uint64_t promised = figure_or_0(text, "Committed_AS");
        figures.commit_limit = std::min(figures.commit_limit, limit);
        figures.commit_available =
            std::min(figures.commit_available, limit > promised ? limit - promised : 0);
    }
    figures.commit_available = std::min(figures.commit_available, figures.commit_limit);
}

void read_address_space(MemoryFigures& figures)
{
    figures.address_space = user_addresses;
    rlimit limit{};
    if (sys::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        figures.address_space = std::min<uint64_t>(user_addresses, limit.rlim_cur);
    std::string text;
    uint64_t used = 0;
    if (read_kernel_file("/proc/self/statm", text))
        used = leading_number(text).value_or(0);
    if (__builtin_mul_overflow(used, figures.page_size, &used))
        used = figures.address_space;
    figures.address_space_available = figures.address_space - std::min(figures.address_space, used);
}

} // namespace

bool read_memory_figures(MemoryFigures& figures)
{
    std::string text;
    if (!read_kernel_file("/proc/meminfo", text))
        return fail_errno(errno);
    uint64_t total = 0;
    if (!find_figure(text, "MemTotal", total) || total == 0)
        return fail_with(ERROR_INVALID_DATA);
    static const auto page_size = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    figures = {};
    figures.page_size = page_size;
    const MemoryBounds bounds = control_group_bounds();
    figures.physical_total = std::min(total, bounds.physical);
    figures.physical_available =
        std::min({available(text), bounds.physical_available, figures.physical_total});
    read_commit(text, bounds, figures);
    read_address_space(figures);
    figures.kernel_paged = figure_or_0(text, "SReclaimable");
    figures.kernel_nonpaged = figure_or_0(text, "SUnreclaim");
    figures.system_cache =
        std::min(figures.physical_total,
                 figure_or_0(text, "Cached") + figure_or_0(text, "Buffers") + figures.kernel_paged);
    return true;
}

} // namespace platform

// The machine's memory as the kernel reports it, inside control groups and outside.

#include "support/test.h"

#include <psapi.h>

#include "support/kernel_root.h"

namespace
{

constexpr uint64_t mib = 1 << 20;
constexpr uint64_t gib_in_kib = 1 << 20;

MEMORYSTATUSEX status()
{
    MEMORYSTATUSEX result = {};
    result.dwLength = sizeof result;
    EXPECT_TRUE(GlobalMemoryStatusEx(&result)) << GetLastError();
    return result;
}

PERFORMANCE_INFORMATION performance()
{
    PERFORMANCE_INFORMATION result = {};
    EXPECT_TRUE(GetPerformanceInfo(&result, sizeof result)) << GetLastError();
    return result;
}

// MiB: total and available memory, then total and available including swap.
using Figures = std::vector<uint64_t>;

Figures figures()
{
    const MEMORYSTATUSEX found = status();
    return {found.ullTotalPhys / mib, found.ullAvailPhys / mib, found.ullTotalPageFile / mib,
            found.ullAvailPageFile / mib};
}

class MemoryFigures : public testing::Test
{
protected:
    // A process in a group of the second version, two levels deep.
    void version2()
    {
        m_kernel.put("/proc/self/cgroup", "0::/app.slice/editor.scope\n");
        m_kernel.put("/proc/self/mountinfo",
                     "25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                     "31 25 0:27 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n");
    }
    void version1(const std::string& group, const std::string& root = "/")
    {
        m_kernel.put("/proc/self/cgroup", "12:cpu,cpuacct:/x\n4:memory:" + group + "\n0::/\n");
        m_kernel.put("/proc/self/mountinfo",
                     "35 31 0:32 " + root +
                         " /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
                         "36 31 0:33 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n");
    }
    // Writes the files "memory.*" of a group: names, each followed by its content.
    template <class... Rest>
    void group(const std::string& folder, const char* name, const std::string& text, Rest... rest)
    {
        m_kernel.put("/sys/fs/cgroup" + folder + "/memory." + name, text + "\n");
        if constexpr (sizeof...(rest) > 0)
            group(folder, rest...);
    }
    static std::string bytes(uint64_t number_of_mib) { return std::to_string(number_of_mib * mib); }

    test::KernelRoot m_kernel;
};

TEST_F(MemoryFigures, AreTheMachinesWithoutGroups)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, 2 * gib_in_kib, gib_in_kib);
    EXPECT_EQ(figures(), Figures({8192, 6144, 10240, 7168}));
    EXPECT_EQ(status().dwMemoryLoad, 25u);
    const PERFORMANCE_INFORMATION info = performance();
    const auto mib_of = [&](SIZE_T pages) { return pages * info.PageSize / mib; };
    EXPECT_EQ(Figures({mib_of(info.PhysicalTotal), mib_of(info.PhysicalAvailable),
                       mib_of(info.CommitLimit), mib_of(info.CommitTotal)}),
              Figures({8192, 6144, 10240, 3072}))
        << "of the commitment what is in use";
    EXPECT_EQ(info.SystemCache * info.PageSize, 128 * 1024u);
    EXPECT_EQ(info.KernelTotal * info.PageSize, 12 * 1024u);
    // If the kernel never overcommits, the committed memory counts.
    m_kernel.put("/proc/sys/vm/overcommit_memory", "2\n");
    EXPECT_EQ(figures(), Figures({8192, 6144, 6144, 4096})) << "CommitLimit, less Committed_AS";
}

TEST_F(MemoryFigures, ObeyTheTightestGroup)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, 4 * gib_in_kib, 4 * gib_in_kib);
    version2();
    group("/app.slice/editor.scope", "max", bytes(1024), "current", bytes(768), "stat",
          "anon 1\ninactive_file 134217728\nactive_file 134217728\nfile 9", "swap.max", bytes(512),
          "swap.current", bytes(256));
    EXPECT_EQ(figures(), Figures({1024, 512, 1536, 768})) << "pages of files are taken back";
    group("/app.slice", "max", bytes(512), "current", bytes(512), "swap.max", "0");
    EXPECT_EQ(figures(), Figures({512, 0, 512, 0}));
    EXPECT_EQ(status().dwMemoryLoad, 100u);
}

TEST_F(MemoryFigures, ObeyGroupsOfTheFirstVersion)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, gib_in_kib, gib_in_kib);
    version1("/jobs/one");
    group("/memory/jobs/one", "limit_in_bytes", "9223372036854771712", "usage_in_bytes", "4096");
    group("/memory/jobs", "use_hierarchy", "1", "limit_in_bytes", bytes(1024), "usage_in_bytes",
          bytes(512), "stat", "inactive_file 1\ntotal_inactive_file 268435456\ntotal_active_file 0",
          "memsw.limit_in_bytes", bytes(1024), "memsw.usage_in_bytes", bytes(768));
    EXPECT_EQ(figures(), Figures({1024, 768, 1024, 512}));
    group("/memory/jobs", "use_hierarchy", "0");
    EXPECT_EQ(figures()[0], 8192u) << "a parent that doesn't count its children";
    // In a container without a namespace of its own the group's folder itself is mounted.
    group("/memory", "limit_in_bytes", bytes(256), "usage_in_bytes", "0");
    for (const char* const own : {"/docker/4711", "/docker/47110", "/../elsewhere"})
    {
        version1(own, "/docker/4711");
        EXPECT_EQ(figures()[0], 256u) << own;
    }
}

TEST_F(MemoryFigures, PassOverLimitsThatAreNoNumbers)
{
    m_kernel.machine(1000, 500);
    version2();
    for (const char* const number : {"", "18446744073709551616", "12kB", "max"})
    {
        group("/app.slice/editor.scope", "max", number);
        EXPECT_EQ(status().ullTotalPhys, 1000 * 1024u) << number;
    }
}

TEST_F(MemoryFigures, AreRefusedWithoutAnyMemory)
{
    MEMORYSTATUSEX result = {};
    result.dwLength = sizeof result;
    SetLastError(0);
    EXPECT_FALSE(GlobalMemoryStatusEx(&result)) << "no meminfo";
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    m_kernel.put("/proc/meminfo", "MemTotal: 18446744073709551615 kB\n");
    EXPECT_FALSE(GlobalMemoryStatusEx(&result));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
}

} // namespace

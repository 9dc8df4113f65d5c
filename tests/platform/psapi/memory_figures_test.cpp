// The machine's memory as the kernel tells it, inside control groups and out of them.
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <unistd.h>

#include <sys/resource.h>

#include <windows.h>

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

class MemoryFigures : public testing::Test
{
protected:
    // A process in a group of the second version, two levels deep.
    void version2(const std::string& group = "/app.slice/editor.scope")
    {
        m_kernel.put("/proc/self/cgroup", "0::" + group + "\n");
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
    void group(const std::string& folder, const std::string& file, const std::string& text)
    {
        m_kernel.put("/sys/fs/cgroup" + folder + "/" + file, text);
    }

    test::KernelRoot m_kernel;
};

TEST_F(MemoryFigures, AreTheMachinesWithoutGroups)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, 2 * gib_in_kib, gib_in_kib);
    const MEMORYSTATUSEX found = status();
    EXPECT_EQ(found.ullTotalPhys, 8192 * mib);
    EXPECT_EQ(found.ullAvailPhys, 6144 * mib);
    EXPECT_EQ(found.dwMemoryLoad, 25u);
    EXPECT_EQ(found.ullTotalPageFile, 10240 * mib);
    EXPECT_EQ(found.ullAvailPageFile, 7168 * mib);

    PERFORMANCE_INFORMATION info = {};
    ASSERT_TRUE(GetPerformanceInfo(&info, sizeof info));
    const uint64_t page = info.PageSize;
    EXPECT_EQ(info.CommitLimit * page, 10240 * mib);
    EXPECT_EQ(info.CommitTotal * page, 3072 * mib) << "what is in use of both";
    EXPECT_EQ(info.PhysicalTotal * page, 8192 * mib);
    EXPECT_EQ(info.PhysicalAvailable * page, 6144 * mib);
    EXPECT_EQ(info.SystemCache * page, 128 * 1024u);
    EXPECT_EQ(info.KernelTotal * page, 12 * 1024u);
}

TEST_F(MemoryFigures, KeepTheGreatestCommitmentSeen)
{
    // Of the process: in this one no other test commits as much.
    PERFORMANCE_INFORMATION info = {};
    m_kernel.machine(1024 * gib_in_kib, 256 * gib_in_kib);
    ASSERT_TRUE(GetPerformanceInfo(&info, sizeof info));
    m_kernel.machine(1024 * gib_in_kib, 512 * gib_in_kib);
    ASSERT_TRUE(GetPerformanceInfo(&info, sizeof info));
    EXPECT_EQ(info.CommitTotal * info.PageSize, 512 * 1024 * mib);
    EXPECT_EQ(info.CommitPeak * info.PageSize, 768 * 1024 * mib);
}

TEST_F(MemoryFigures, CountPromisesWhereTheKernelKeepsThem)
{
    m_kernel.machine(8 * gib_in_kib, 7 * gib_in_kib, 2 * gib_in_kib, 2 * gib_in_kib);
    m_kernel.put("/proc/sys/vm/overcommit_memory", "2\n");
    EXPECT_EQ(status().ullTotalPageFile, 6144 * mib) << "CommitLimit";
    EXPECT_EQ(status().ullAvailPageFile, 4096 * mib) << "less Committed_AS";
    m_kernel.put("/proc/sys/vm/overcommit_memory", "0\n");
    EXPECT_EQ(status().ullTotalPageFile, 10240 * mib);
}

TEST_F(MemoryFigures, ObeyAGroupsLimits)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, 4 * gib_in_kib, 4 * gib_in_kib);
    version2();
    group("/app.slice/editor.scope", "memory.max", "1073741824\n");
    group("/app.slice/editor.scope", "memory.current", "805306368\n"); // 768 MiB
    group("/app.slice/editor.scope", "memory.stat",
          "anon 1\ninactive_file 134217728\nactive_file 134217728\nfile 9\n");
    group("/app.slice/editor.scope", "memory.swap.max", "536870912\n");
    group("/app.slice/editor.scope", "memory.swap.current", "268435456\n");
    const MEMORYSTATUSEX found = status();
    EXPECT_EQ(found.ullTotalPhys, 1024 * mib);
    EXPECT_EQ(found.ullAvailPhys, 512 * mib) << "pages of files are taken back";
    EXPECT_EQ(found.ullTotalPageFile, 1536 * mib);
    EXPECT_EQ(found.ullAvailPageFile, 768 * mib);
}

TEST_F(MemoryFigures, ObeyTheTightestGroupAbove)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib);
    version2();
    group("/app.slice/editor.scope", "memory.max", "max\n");
    group("/app.slice/editor.scope", "memory.current", "1048576\n");
    group("/app.slice", "memory.max", "2147483648\n");
    group("/app.slice", "memory.current", "2147483648\n");
    EXPECT_EQ(status().ullTotalPhys, 2048 * mib);
    EXPECT_EQ(status().ullAvailPhys, 0u);
    EXPECT_EQ(status().dwMemoryLoad, 100u);
}

TEST_F(MemoryFigures, ObeyGroupsOfTheFirstVersion)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib, gib_in_kib, gib_in_kib);
    version1("/jobs/one");
    group("/memory/jobs/one", "memory.limit_in_bytes", "9223372036854771712\n");
    group("/memory/jobs/one", "memory.usage_in_bytes", "4096\n");
    group("/memory/jobs", "memory.use_hierarchy", "1\n");
    group("/memory/jobs", "memory.limit_in_bytes", "1073741824\n");
    group("/memory/jobs", "memory.usage_in_bytes", "536870912\n");
    group("/memory/jobs", "memory.stat",
          "inactive_file 1\ntotal_inactive_file 268435456\ntotal_active_file 0\n");
    group("/memory/jobs", "memory.memsw.limit_in_bytes", "1073741824\n"); // no swap
    group("/memory/jobs", "memory.memsw.usage_in_bytes", "805306368\n");
    EXPECT_EQ(status().ullTotalPhys, 1024 * mib);
    EXPECT_EQ(status().ullAvailPhys, 768 * mib);
    EXPECT_EQ(status().ullTotalPageFile, 1024 * mib);
    EXPECT_EQ(status().ullAvailPageFile, 512 * mib);
    group("/memory/jobs", "memory.use_hierarchy", "0\n");
    EXPECT_EQ(status().ullTotalPhys, 8192 * mib) << "a parent that doesn't count its children";
}

// In a container without a group namespace of its own the group's folder is mounted itself.
TEST_F(MemoryFigures, FindTheGroupOfAContainer)
{
    m_kernel.machine(8 * gib_in_kib, 6 * gib_in_kib);
    group("/memory", "memory.limit_in_bytes", "268435456\n");
    group("/memory", "memory.usage_in_bytes", "0\n");
    version1("/docker/4711", "/docker/4711");
    EXPECT_EQ(status().ullTotalPhys, 256 * mib);
    version1("/docker/47110", "/docker/4711");
    EXPECT_EQ(status().ullTotalPhys, 256 * mib) << "the mounted group is still above it";
    version1("/../elsewhere");
    EXPECT_EQ(status().ullTotalPhys, 256 * mib);
}

TEST_F(MemoryFigures, SurviveFilesThatAreCutOrStrange)
{
    const std::string strange[] = {"",         "0",         "0:",
                                   "0::",      ":::",       "0::" + std::string(70'000, '/'),
                                   "4:memory", "4:memory:", std::string("\0\n0::/x", 7)};
    const std::string mounts[] = {"",
                                  " - ",
                                  "1 2 3 - cgroup2",
                                  "31 25 0:27 / /sys/fs/cgroup - cgroup2",
                                  "1 1 1 \\0 \\04 - cgroup2 x y\n",
                                  std::string(100'000, ' ')};
    m_kernel.machine(1000, 500);
    for (const std::string& groups : strange)
        for (const std::string& mount : mounts)
        {
            m_kernel.put("/proc/self/cgroup", groups);
            m_kernel.put("/proc/self/mountinfo", mount);
            EXPECT_EQ(status().ullTotalPhys, 1000 * 1024u);
        }
    version2("/x");
    for (const char* const number : {"", "-1", "18446744073709551616", "12kB", "max"})
    {
        group("/x", "memory.max", number);
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
    for (const char* const text : {"", "MemTotal: 0 kB\n", "MemTotal: x\n", "MemTotal 5 kB\n",
                                   "MemTotal: 18446744073709551615 kB\n"})
    {
        m_kernel.put("/proc/meminfo", text);
        EXPECT_FALSE(GlobalMemoryStatusEx(&result)) << text;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA) << text;
    }
}

TEST(RealMemory, AgreesWithTheKernel)
{
    const MEMORYSTATUSEX found = status();
    const auto machine = static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                         static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    EXPECT_GT(found.ullTotalPhys, 0u);
    EXPECT_LE(found.ullTotalPhys, machine);
    EXPECT_LE(found.ullAvailPhys, found.ullTotalPhys);
    EXPECT_LE(found.ullAvailPageFile, found.ullTotalPageFile);
    EXPECT_LT(found.ullAvailVirtual, found.ullTotalVirtual);
    PERFORMANCE_INFORMATION info = {};
    ASSERT_TRUE(GetPerformanceInfo(&info, sizeof info));
    EXPECT_EQ(info.PageSize, static_cast<SIZE_T>(sysconf(_SC_PAGESIZE)));
    EXPECT_GE(info.ProcessCount, 1u);
    EXPECT_GE(info.ThreadCount, info.ProcessCount / 2) << "kernel and containers may hide some";
    EXPECT_GE(info.CommitPeak, info.CommitTotal);
}

TEST(RealMemory, AddressesObeyTheProcesssLimit)
{
    constexpr uint64_t limit = uint64_t{1} << 46; // 64 TiB: sanitizers need many addresses
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &former), 0);
    rlimit lower = former;
    lower.rlim_cur = limit;
    if (former.rlim_cur < lower.rlim_cur || setrlimit(RLIMIT_AS, &lower) != 0)
        GTEST_SKIP() << "this process has a lower limit";
    const MEMORYSTATUSEX found = status();
    setrlimit(RLIMIT_AS, &former);
    EXPECT_EQ(found.ullTotalVirtual, limit);
}

// Needs a memory hierarchy of the first version, or of the second with the controller handed down,
// in which this process may make a group.
TEST(RealMemory, IsThatOfTheGroupAProcessIsPutInto)
{
    std::ifstream groups("/proc/self/cgroup");
    std::string own;
    for (std::string line; std::getline(groups, line);)
        if (const size_t at = line.find(":memory:"); at != std::string::npos)
            own = line.substr(at + 8);
    const std::string parent = "/sys/fs/cgroup/memory" + own;
    const std::string folder = parent + "/plinth-test-" + std::to_string(getpid());
    std::error_code error;
    if (own.empty() || !std::filesystem::create_directory(folder, error))
        GTEST_SKIP() << "no memory group can be made here";
    const auto write = [](const std::string& path, const std::string& text)
    { return static_cast<bool>(std::ofstream(path) << text << std::flush); };
    const bool moved = write(folder + "/memory.limit_in_bytes", std::to_string(200 * mib)) &&
                       write(folder + "/cgroup.procs", std::to_string(getpid()));
    const MEMORYSTATUSEX found = status();
    write(parent + "/cgroup.procs", std::to_string(getpid()));
    std::filesystem::remove(folder, error);
    if (!moved)
        GTEST_SKIP() << "no process can be put into a group here";
    EXPECT_EQ(found.ullTotalPhys, 200 * mib);
    EXPECT_LE(found.ullAvailPhys, 200 * mib);
}

} // namespace

// The limits for large documents on simulated machines.

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/kernel_root.h"
#include "support/log_files.h"
#include "support/wide_text.h"

namespace
{

constexpr uint64_t mib = 1 << 20;
constexpr uint64_t gib = 1 << 30;
constexpr uint64_t gib_in_kib = 1 << 20;
constexpr uint64_t before = 4711; // a value that a function may leave unchanged

// Makes the key, and its value unless line is null: a text of several lines, as on the system.
void set_paging_files(const char* line)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(
                  HKEY_LOCAL_MACHINE,
                  L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management", &key),
              0);
    if (line)
    {
        const test::Wide text(line);
        constexpr DWORD several_texts = 7; // REG_MULTI_SZ
        EXPECT_EQ(RegSetValueExW(key, L"PagingFiles", 0, several_texts,
                                 reinterpret_cast<const BYTE*>(text.c_str()),
                                 static_cast<DWORD>(text.size() * sizeof(wchar_t))),
                  0);
    }
    RegCloseKey(key);
}

uint64_t limit_now()
{
    uint64_t limit = 0;
    EXPECT_EQ(QV_GetAllocLimit(nullptr, &limit), QV_OK);
    return limit;
}

bool logged(const char* text)
{
    return test::log_content().find(text) != std::string::npos;
}

// Whether a document is too large, and by how much.
using Checked = std::pair<bool, uint64_t>;
Checked check(uint64_t size)
{
    uint64_t overflow = before;
    const bool large = QV_CheckSingleDocumentSizeOverflow(size, &overflow, false);
    EXPECT_EQ(QV_CheckSingleDocumentSizeOverflow(size, nullptr, false), large);
    return {large, overflow};
}

// The limit is worked out once in a process, so each test runs in a process of its own.
class AllocLimit : public testing::Test
{
protected:
    AllocLimit()
    {
        m_kernel.machine(2 * gib_in_kib, gib_in_kib);
        test::start_log();
    }
    test::KernelRoot m_kernel;
};

TEST_F(AllocLimit, AddsThePageFilesGreatestSizeOnce)
{
    set_paging_files((std::string(99'990, 'x') + " 2048 4096").c_str());
    EXPECT_EQ(limit_now(), 4 * gib + 2 * gib);
    EXPECT_TRUE(logged("Max page file size: 4294967296\r\n"));
    set_paging_files("C:\\pagefile.sys 1 1");
    EXPECT_EQ(limit_now(), 6 * gib);
}

using Line = std::pair<const char*, const char*>; // a name, and the value in the key

class PagingFiles : public AllocLimit, public testing::WithParamInterface<Line>
{
};

TEST_P(PagingFiles, WithoutASizeGiveTheDefault)
{
    const auto [name, line] = GetParam();
    set_paging_files(line);
    EXPECT_EQ(limit_now(), 6 * gib + 2 * gib);
    EXPECT_TRUE(logged("Max page file size: 6442450944 (default)\r\n"));
}

INSTANTIATE_TEST_SUITE_P(Lines, PagingFiles,
                         testing::Values(Line{"missing", nullptr}, Line{"cut", "C:\\p.sys 2048"}),
                         [](const auto& row) { return row.param.first; });

TEST_F(AllocLimit, FailsWithoutPerformanceFigures)
{
    uint64_t committed = before, limit = 0;
    PlinthTestFail("GetPerformanceInfo", 1, 0, ERROR_GEN_FAILURE);
    EXPECT_EQ(QV_GetAllocLimit(&committed, &limit), QV_ERR_SYSTEM);
    EXPECT_EQ(committed, before);
    EXPECT_EQ(limit, 2 * gib) << "which comes first";
    EXPECT_EQ(check(gib), Checked(false, before)) << "when in doubt";
    PlinthTestReset();
}

TEST_F(AllocLimit, DocumentsOfHalfThePhysicalMemoryPass)
{
    set_paging_files("C:\\pagefile.sys 0 0");
    EXPECT_EQ(check(gib), Checked(false, before));
    EXPECT_EQ(check(gib + 1), Checked(true, 0));
}

// 1 GiB is committed, of a limit of 2 GiB; three quarters of the limit are 1.5 GiB.
TEST_F(AllocLimit, TellsByHowMuchADocumentIsTooLargeAndTracesTheFiguresOnRequest)
{
    EXPECT_EQ(check(512 * mib), Checked(false, before));
    EXPECT_EQ(check(512 * mib + 5), Checked(true, 5));
    EXPECT_FALSE(logged("Memory:"));
    QV_CheckSingleDocumentSizeOverflow(1, nullptr, true);
    EXPECT_TRUE(logged("Physical Memory: 2147483648 (1073741824)\r\n"));
    // The address space is the first limit.
    constexpr uint64_t three_quarters = 0x7FFFFFFE0000 / 4 * 3;
    constexpr uint64_t page = 4096;
    m_kernel.put("/proc/self/statm", std::to_string(three_quarters / page) + " 1 1 1 0 1 0\n");
    EXPECT_EQ(check(12'345), Checked(true, 12'345 - three_quarters % page));
}

} // namespace

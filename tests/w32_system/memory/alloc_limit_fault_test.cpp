// The limits for large documents on machines of a test's making.
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/kernel_root.h"
#include "support/log_files.h"
#include "support/wide_text.h"

namespace
{

constexpr uint64_t mib = 1 << 20;
constexpr uint64_t gib = 1 << 30;
constexpr uint64_t gib_in_kib = 1 << 20;
constexpr const wchar_t* memory_management =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management";

// The key, and its value unless that is null. A text of several lines, as the system keeps it.
void set_paging_files(const char* line)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, memory_management, &key), 0);
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

// The limit is worked out once in a process; each test has a process of its own.
class AllocLimit : public testing::Test
{
protected:
    AllocLimit() { m_kernel.machine(2 * gib_in_kib, gib_in_kib); }
    test::KernelRoot m_kernel;
};

TEST_F(AllocLimit, IsPhysicalMemoryWithoutTheKey)
{
    test::start_log();
    EXPECT_EQ(limit_now(), 2 * gib);
    EXPECT_EQ(test::log_content().find("Max page file"), std::string::npos);
}

TEST_F(AllocLimit, AddsThePageFilesGreatestSize)
{
    test::start_log();
    set_paging_files("C:\\pagefile.sys 2048 4096");
    EXPECT_EQ(limit_now(), 4 * gib + 2 * gib);
    EXPECT_NE(test::log_content().find("Max page file size: 4294967296\r\n"), std::string::npos);
    set_paging_files("C:\\pagefile.sys 1 1");
    EXPECT_EQ(limit_now(), 6 * gib) << "worked out once";
}

struct NoNumbers
{
    const char* name;
    const char* line;
};

void PrintTo(const NoNumbers& row, std::ostream* to)
{
    *to << row.name;
}

class PagingFiles : public testing::TestWithParam<NoNumbers>
{
};

TEST_P(PagingFiles, WithoutASizeGiveTheDefault)
{
    test::KernelRoot kernel;
    kernel.machine(2 * gib_in_kib, gib_in_kib);
    test::start_log();
    const char* const line = GetParam().line;
    set_paging_files(line && *line == '*' ? std::string(100'000, 'x').c_str() : line);
    EXPECT_EQ(limit_now(), 6 * gib + 2 * gib);
    EXPECT_NE(test::log_content().find("Max page file size: 6442450944 (default)\r\n"),
              std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Lines, PagingFiles,
                         testing::Values(NoNumbers{"missing", nullptr}, NoNumbers{"empty", ""},
                                         NoNumbers{"zeros", "C:\\pagefile.sys 0 0"},
                                         NoNumbers{"name_alone", "C:\\pagefile.sys"},
                                         NoNumbers{"cut", "C:\\pagefile.sys 2048"},
                                         NoNumbers{"no_numbers", "C:\\pagefile.sys many more"},
                                         NoNumbers{"hundred_thousand_characters", "*"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(AllocLimit, ReadsALineOfAHundredThousandCharacters)
{
    set_paging_files((std::string(99'990, 'x') + " 2048 4096").c_str());
    EXPECT_EQ(limit_now(), 6 * gib);
}

TEST_F(AllocLimit, DefaultIsAtLeastFourGibibytes)
{
    m_kernel.machine(gib_in_kib, gib_in_kib / 2);
    set_paging_files(nullptr);
    EXPECT_EQ(limit_now(), 4 * gib + gib);
}

TEST_F(AllocLimit, IsLeftAloneByTheOtherQuestions)
{
    uint64_t committed = 0;
    EXPECT_EQ(QV_GetAllocLimit(nullptr, nullptr), QV_OK);
    EXPECT_EQ(QV_GetAllocLimit(&committed, nullptr), QV_OK);
    EXPECT_EQ(committed, gib);
    m_kernel.machine(3 * gib_in_kib, gib_in_kib);
    EXPECT_EQ(limit_now(), 3 * gib) << "first worked out now";
}

TEST_F(AllocLimit, FailsWithoutPerformanceFigures)
{
    uint64_t committed = 4711;
    uint64_t limit = 0;
    PlinthTestFail("GetPerformanceInfo", 1, 0, ERROR_GEN_FAILURE);
    EXPECT_EQ(QV_GetAllocLimit(&committed, &limit), QV_ERR_SYSTEM);
    EXPECT_EQ(committed, 4711u);
    EXPECT_EQ(limit, 2 * gib) << "which comes first";
    EXPECT_EQ(QV_GetMemoryInfo(&committed, nullptr, nullptr, nullptr, nullptr, nullptr),
              QV_ERR_SYSTEM);
    EXPECT_FALSE(QV_CheckSingleDocumentSizeOverflow(gib, &limit, false)) << "when in doubt";
    PlinthTestReset();
}

TEST_F(AllocLimit, DocumentsOfHalfThePhysicalMemoryPass)
{
    set_paging_files("C:\\pagefile.sys 0 0");
    uint64_t overflow = 4711;
    EXPECT_FALSE(QV_CheckSingleDocumentSizeOverflow(gib, &overflow, false));
    EXPECT_EQ(overflow, 4711u);
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(gib + 1, &overflow, false));
    EXPECT_EQ(overflow, 0u);
}

// Committed 1 GiB of a limit of 2 GiB, three quarters of which are 1.5 GiB.
TEST_F(AllocLimit, TellsByHowMuchADocumentIsTooLarge)
{
    uint64_t overflow = 4711;
    EXPECT_FALSE(QV_CheckSingleDocumentSizeOverflow(512 * mib, &overflow, false));
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(512 * mib + 5, &overflow, false));
    EXPECT_EQ(overflow, 5u);
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(600 * mib, nullptr, false));
}

TEST_F(AllocLimit, AddressesBoundADocumentFirst)
{
    constexpr uint64_t addresses = 0x7FFFFFFE0000;
    const uint64_t three_quarters = addresses / 4 * 3;
    const uint64_t page = 4096;
    m_kernel.put("/proc/self/statm", std::to_string(three_quarters / page) + " 1 1 1 0 1 0\n");
    uint64_t overflow = 0;
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(12'345, &overflow, false));
    EXPECT_EQ(overflow, 12'345 - three_quarters % page);
}

TEST_F(AllocLimit, TracesTheFiguresOnRequest)
{
    test::start_log();
    QV_CheckSingleDocumentSizeOverflow(1, nullptr, false);
    EXPECT_EQ(test::log_content().find("Memory:"), std::string::npos);
    QV_CheckSingleDocumentSizeOverflow(1, nullptr, true);
    const std::string log = test::log_content();
    EXPECT_NE(log.find("Physical Memory: 2147483648 (1073741824)\r\n"), std::string::npos);
    EXPECT_NE(log.find("Virtual Memory: 140737488224256 (140737488224256)\r\n"), std::string::npos);
    EXPECT_NE(log.find("Page File: 2147483648 (1073741824)\r\n"), std::string::npos);
}

} // namespace

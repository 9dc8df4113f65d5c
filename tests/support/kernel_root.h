// A machine whose kernel reports what a test sets: files in a folder of the test replace those of
// /proc and /sys until the end of the scope. Linux only.
#pragma once

#include <filesystem>
#include <string>

#include <plinth_platform_test.h>

#include "support/environment.h"

namespace test
{

class KernelRoot
{
public:
    KernelRoot() : m_folder(make_folder("kernel")) { PlinthTestSetKernelRoot(m_folder.c_str()); }
    KernelRoot(const KernelRoot&) = delete;
    KernelRoot& operator=(const KernelRoot&) = delete;
    ~KernelRoot()
    {
        PlinthTestSetKernelRoot(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    // Writes a file, named by its path on a real machine.
    void put(const std::string& path, const std::string& text)
    {
        std::filesystem::create_directories(std::filesystem::path(m_folder + path).parent_path());
        write_file(m_folder + path, text);
    }

    // A plain machine without control groups.
    void machine(uint64_t total_kib, uint64_t available_kib, uint64_t swap_kib = 0,
                 uint64_t swap_free_kib = 0)
    {
        const auto line = [](const char* name, uint64_t kib)
        { return std::string(name) + ":    " + std::to_string(kib) + " kB\n"; };
        put("/proc/meminfo", line("MemTotal", total_kib) + line("MemFree", available_kib / 2) +
                                 line("MemAvailable", available_kib) + line("Cached", 100) +
                                 line("SwapCached", 7) + line("Buffers", 20) +
                                 line("SwapTotal", swap_kib) + line("SwapFree", swap_free_kib) +
                                 line("SReclaimable", 8) + line("SUnreclaim", 4) +
                                 line("CommitLimit", total_kib / 2 + swap_kib) +
                                 line("Committed_AS", total_kib / 4));
    }

private:
    const std::string m_folder;
};

} // namespace test

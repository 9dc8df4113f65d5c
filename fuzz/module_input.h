// An input as a file in memory, under a path of the Windows interface.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz_check.h"

namespace fuzz
{

class ModuleInput
{
public:
    ModuleInput(const uint8_t* data, size_t size) : m_file(memfd_create("plinth-fuzz", MFD_CLOEXEC))
    {
        check(m_file >= 0 && write(m_file, data, size) == static_cast<ssize_t>(size),
              "an input can be made");
        char path[64];
        std::snprintf(path, sizeof path, "C:\\proc\\self\\fd\\%d", m_file);
        for (size_t i = 0; i < sizeof path; ++i)
            m_path[i] = static_cast<wchar_t>(path[i]);
    }
    ModuleInput(const ModuleInput&) = delete;
    ModuleInput& operator=(const ModuleInput&) = delete;
    ~ModuleInput() { close(m_file); }
    const wchar_t* path() const { return m_path; }

private:
    const int m_file;
    wchar_t m_path[64];
};

} // namespace fuzz

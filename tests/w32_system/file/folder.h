// The fixture of the file tests: a folder of the test's own, and short names for operations in it.
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/files.h"

namespace test
{

// Content that differs from position to position.
inline std::string pattern(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 31 + i / 256) & 0xff);
    return bytes;
}

struct InFolder : testing::Test
{
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    Wide path(const std::string& name) const { return windows_form(native(name)); }
    void make(const std::string& name, const std::string& bytes = "x") const
    {
        write_file(native(name), bytes);
    }
    std::string content(const std::string& name) const { return read_file(native(name)); }
    bool exists(const std::string& name) const { return std::filesystem::exists(native(name)); }
    const std::string m_folder =
        make_folder(testing::UnitTest::GetInstance()->current_test_info()->name());
};

} // namespace test

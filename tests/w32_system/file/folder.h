// The fixture of the file tests: a folder of the test's own, and short names for what is done
// there.
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/files.h"

namespace test
{

class InFolder : public testing::Test
{
protected:
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

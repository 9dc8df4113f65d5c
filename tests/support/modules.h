// The PE files that tests/modules builds, and changed copies of them.
#pragma once

#include <cstring>
#include <filesystem>
#include <string>

#include "support/environment.h"
#include "support/needs.h"

#ifndef PLINTH_TEST_MODULES
#error "link the tests to the folder of test modules (tests/CMakeLists.txt)"
#endif

namespace test
{

// Native path of a module as it was built; not to be changed. If the tools to build modules are
// missing, the test is skipped, and the missing packages are named.
inline std::string module_path(const std::string& name)
{
    const std::string path = PLINTH_TEST_MODULES "/" + name;
    const std::string missing = PLINTH_TEST_MODULES "/missing_packages";
    if (std::filesystem::exists(missing))
        needs(std::filesystem::exists(path), "the module " + name, read_file(missing));
    return path;
}

// The path of a copy of a module in a folder.
inline std::string copy_module(const std::string& folder, const std::string& name)
{
    const std::string copy = folder + "/" + name;
    write_file(copy, read_file(module_path(name)));
    return copy;
}

// Numbers in the bytes of a file.
template <class Number> Number number_at(const std::string& bytes, size_t offset)
{
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}
template <class Number> void set_number(std::string& bytes, size_t offset, Number number)
{
    std::memcpy(bytes.data() + offset, &number, sizeof number);
}

// Offsets in a PE file.
struct PePlaces
{
    explicit PePlaces(const std::string& file)
        : header(number_at<uint32_t>(file, 60)), optional(header + 24),
          table(optional + number_at<uint16_t>(file, header + 20)),
          sections(number_at<uint16_t>(file, header + 6)),
          directories(optional + (number_at<uint16_t>(file, optional) == 0x20B ? 112 : 96))
    {
    }
    // The section table's entry of a name; 0 if there is none.
    size_t entry(const std::string& file, const std::string& name) const
    {
        for (unsigned i = 0; i < sections; ++i)
        {
            const size_t at = table + i * 40;
            if (std::string(file.data() + at, strnlen(file.data() + at, 8)) == name)
                return at;
        }
        return 0;
    }

    size_t header;
    size_t optional;
    size_t table;
    unsigned sections;
    size_t directories;
};

} // namespace test

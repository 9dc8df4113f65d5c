// Programs that a test runs by a shell command. Linux only.
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace test
{

// The whole standard output of the command, which must succeed.
inline std::string output_of(const std::string& command)
{
    std::string all;
    FILE* const out = popen(command.c_str(), "r");
    for (int c; (c = std::fgetc(out)) != EOF;)
        all += static_cast<char>(c);
    EXPECT_EQ(pclose(out), 0) << command;
    return all;
}

} // namespace test

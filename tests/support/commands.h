// Programs that a test runs by a shell command. Linux only.
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace test
{

// Everything that the command writes to its standard output.
inline std::string output_of(const std::string& command, int exit_code = 0)
{
    std::string all;
    FILE* const out = popen(command.c_str(), "r");
    for (int c; (c = std::fgetc(out)) != EOF;)
        all += static_cast<char>(c);
    const int status = pclose(out);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == exit_code) << command << ": " << status;
    return all;
}

} // namespace test

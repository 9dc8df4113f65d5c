// Stress tests that repeat for PLINTH_SOAK_SECONDS, which scripts/soak sets.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

namespace test
{

class SoakTime
{
public:
    SoakTime()
    {
        if (const char* const seconds = std::getenv("PLINTH_SOAK_SECONDS"))
        {
            m_asked = true;
            m_end += std::chrono::seconds(std::atoi(seconds));
        }
    }

    // Always false without the variable: the test runs one round.
    bool goes_on() const { return m_asked && std::chrono::steady_clock::now() < m_end; }

    // Prints a line that scripts/soak collects.
    void report(const char* what, uint64_t count) const
    {
        if (!m_asked)
            return;
        const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
        std::printf("soak: %s.%s: %llu %s\n", test->test_suite_name(), test->name(),
                    static_cast<unsigned long long>(count), what);
    }

private:
    bool m_asked = false;
    std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now();
};

} // namespace test

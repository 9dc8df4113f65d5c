// Stress tests that go on for as long as they are asked to: scripts/soak sets PLINTH_SOAK_SECONDS.
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

    // False from the start on unless the variable is set: one round is a test.
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

// Rows of documented answers: each is one call and its answer, mostly the error, 0 for none.
#pragma once

#include <initializer_list>

#include "support/test.h"

#include "support/handles.h"

namespace test
{

struct Answer
{
    const char* call;
    DWORD given, expected;
};

inline void check(std::initializer_list<Answer> rows)
{
    for (const Answer& row : rows)
        EXPECT_EQ(row.given, row.expected) << row.call;
}

} // namespace test

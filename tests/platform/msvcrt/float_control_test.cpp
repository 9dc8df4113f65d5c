// The floating-point control word, read by the C library's own functions beside.
#include <cfenv>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <float.h>

namespace
{

// All are masked at first, and reading changes nothing.
TEST(FloatControl, EachBitIsThatExceptionsMaskAndRoundingAndOtherThreadsAreLeftAlone)
{
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
    std::fesetround(FE_UPWARD);
    const std::pair<unsigned, int> rows[] = {{_EM_INVALID, FE_INVALID},
                                             {_EM_ZERODIVIDE, FE_DIVBYZERO},
                                             {_EM_OVERFLOW, FE_OVERFLOW},
                                             {_EM_UNDERFLOW, FE_UNDERFLOW},
                                             {_EM_INEXACT, FE_INEXACT}};
    for (const auto& [mask, exception] : rows)
    {
        SCOPED_TRACE(mask);
        EXPECT_EQ(_controlfp(0, mask | 0x300), _MCW_EM & ~mask);
        EXPECT_EQ(fegetexcept(), exception);
        EXPECT_EQ(_control87(mask, mask), unsigned{_MCW_EM});
        EXPECT_EQ(fegetexcept(), 0);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    std::thread([] { _control87(0, _EM_ZERODIVIDE); }).join();
#if defined(__x86_64__)
    // Only the older call reaches the mask for denormal operands.
    EXPECT_EQ(_controlfp(0, _EM_DENORMAL), unsigned{_MCW_EM});
    EXPECT_EQ(_control87(0, _EM_DENORMAL), _MCW_EM & ~unsigned{_EM_DENORMAL});
    EXPECT_EQ(_controlfp(_MCW_EM, _MCW_EM), _MCW_EM & ~unsigned{_EM_DENORMAL});
#endif
    EXPECT_EQ(_control87(_MCW_EM, _MCW_EM), unsigned{_MCW_EM});
}

} // namespace

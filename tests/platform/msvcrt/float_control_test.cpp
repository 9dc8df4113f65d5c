// The floating-point control word, read by the C library's own functions beside.
#include <cfenv>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <float.h>

namespace
{

class FloatControl : public testing::Test
{
protected:
    ~FloatControl() override { _control87(_MCW_EM, _MCW_EM); }
};

// All are masked at first, and reading changes nothing.
TEST_F(FloatControl, EachBitIsThatExceptionsMask)
{
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
    EXPECT_EQ(_controlfp(0, 0), unsigned{_MCW_EM});
    EXPECT_EQ(fegetexcept(), 0);
    const std::pair<unsigned, int> rows[] = {{_EM_INVALID, FE_INVALID},
                                             {_EM_ZERODIVIDE, FE_DIVBYZERO},
                                             {_EM_OVERFLOW, FE_OVERFLOW},
                                             {_EM_UNDERFLOW, FE_UNDERFLOW},
                                             {_EM_INEXACT, FE_INEXACT}};
    for (const auto& [mask, exception] : rows)
    {
        SCOPED_TRACE(mask);
        EXPECT_EQ(_controlfp(0, mask), _MCW_EM & ~mask);
        EXPECT_EQ(fegetexcept(), exception);
        EXPECT_EQ(_control87(mask, mask), unsigned{_MCW_EM});
        EXPECT_EQ(fegetexcept(), 0);
        feenableexcept(exception);
        EXPECT_EQ(_control87(0, 0), _MCW_EM & ~mask);
        EXPECT_EQ(_controlfp(_MCW_EM, _MCW_EM), unsigned{_MCW_EM});
    }
}

#if defined(__x86_64__)
TEST_F(FloatControl, OnlyTheOlderCallReachesTheMaskForDenormalOperands)
{
    EXPECT_EQ(_controlfp(0, _EM_DENORMAL), unsigned{_MCW_EM});
    EXPECT_EQ(_control87(0, _EM_DENORMAL), _MCW_EM & ~unsigned{_EM_DENORMAL});
    EXPECT_EQ(_controlfp(_MCW_EM, _MCW_EM), _MCW_EM & ~unsigned{_EM_DENORMAL});
    EXPECT_EQ(_control87(_MCW_EM, _MCW_EM), unsigned{_MCW_EM});
}
#endif

TEST_F(FloatControl, LeavesRoundingAndOtherThreadsAlone)
{
    std::fesetround(FE_UPWARD);
    _control87(0, _EM_ZERODIVIDE | 0x300);
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    _control87(_MCW_EM, _MCW_EM);
    std::thread([] { _control87(0, _EM_ZERODIVIDE); }).join();
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
}

} // namespace

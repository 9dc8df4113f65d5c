// The floating-point control word, read by the C library's own functions beside.
#include <cfenv>
#include <thread>

#include <gtest/gtest.h>

#include <float.h>

namespace
{

class FloatControl : public testing::Test
{
protected:
    ~FloatControl() override { _control87(_MCW_EM, _MCW_EM); }
};

TEST_F(FloatControl, StartsWithAllExceptionsMaskedAndReadsWithoutChanging)
{
    EXPECT_EQ(_control87(0, 0), unsigned{_MCW_EM});
    EXPECT_EQ(_controlfp(0, 0), unsigned{_MCW_EM});
    EXPECT_EQ(fegetexcept(), 0);
}

TEST_F(FloatControl, EachBitIsThatExceptionsMask)
{
    const struct
    {
        unsigned mask;
        int exception;
    } rows[] = {{_EM_INVALID, FE_INVALID},
                {_EM_ZERODIVIDE, FE_DIVBYZERO},
                {_EM_OVERFLOW, FE_OVERFLOW},
                {_EM_UNDERFLOW, FE_UNDERFLOW},
                {_EM_INEXACT, FE_INEXACT}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(_controlfp(0, row.mask), _MCW_EM & ~row.mask);
        EXPECT_EQ(fegetexcept(), row.exception);
        EXPECT_EQ(_control87(row.mask, row.mask), unsigned{_MCW_EM});
        EXPECT_EQ(fegetexcept(), 0);
        feenableexcept(row.exception);
        EXPECT_EQ(_control87(0, 0), _MCW_EM & ~row.mask);
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

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace
{

constexpr UINT reads[] = {SPI_GETSCREENSAVEACTIVE, SPI_GETLOWPOWERACTIVE, SPI_GETPOWEROFFACTIVE};
constexpr UINT writes[] = {SPI_SETSCREENSAVEACTIVE, SPI_SETLOWPOWERACTIVE, SPI_SETPOWEROFFACTIVE};

void expect_all(BOOL wanted, const char* when)
{
    for (const UINT read : reads)
    {
        BOOL value = 4711;
        EXPECT_TRUE(SystemParametersInfoW(read, 0, &value, 0));
        EXPECT_EQ(value, wanted) << when << ", " << read;
    }
}

// On Windows these are the machine's own settings: they come back as they were.
class Power : public testing::Test
{
protected:
    Power()
    {
        for (size_t i = 0; i < 3; ++i)
        {
            SystemParametersInfoW(reads[i], 0, &m_former[i], 0);
            SystemParametersInfoW(writes[i], TRUE, nullptr, 0);
        }
    }
    ~Power() override
    {
        for (size_t i = 0; i < 3; ++i)
            SystemParametersInfoW(writes[i], static_cast<UINT>(m_former[i]), nullptr, 0);
        SetThreadExecutionState(ES_CONTINUOUS);
    }

private:
    BOOL m_former[3] = {};
};

TEST_F(Power, TurningOffAndRestoringComeBackToTheStart)
{
    SystemParametersInfoW(SPI_SETLOWPOWERACTIVE, FALSE, nullptr, 0);
    EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, true, L"A film is running"), QV_OK);
    expect_all(FALSE, "turned off");
    EXPECT_EQ(SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_AWAYMODE_REQUIRED),
              ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_AWAYMODE_REQUIRED);
    EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, false, nullptr), QV_OK);
    EXPECT_EQ(SetThreadExecutionState(ES_CONTINUOUS), ES_CONTINUOUS);
    BOOL value = TRUE;
    SystemParametersInfoW(SPI_GETLOWPOWERACTIVE, 0, &value, 0);
    EXPECT_EQ(value, FALSE) << "as it was";
    SystemParametersInfoW(SPI_GETSCREENSAVEACTIVE, 0, &value, 0);
    EXPECT_EQ(value, TRUE);
}

TEST_F(Power, TurningOffTwiceLeavesPowerSavingOff)
{
    QV_DisableWindowsPowerSave(nullptr, true, L"once");
    QV_DisableWindowsPowerSave(nullptr, true, L"twice");
    QV_DisableWindowsPowerSave(nullptr, false, nullptr);
    expect_all(FALSE, "restored the zeros of the first time");
}

TEST_F(Power, RestoringWithoutTurningOffWritesZeros)
{
    QV_DisableWindowsPowerSave(nullptr, false, nullptr);
    expect_all(FALSE, "the start value of what is saved");
}

TEST_F(Power, ANullReasonIsLeftToTheSystem)
{
    EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, true, nullptr), QV_OK);
    expect_all(FALSE, "turned off nevertheless");
    EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, false, nullptr), QV_OK);
    expect_all(TRUE, "restored");
}

} // namespace

#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

constexpr UINT reads[] = {SPI_GETSCREENSAVEACTIVE, SPI_GETLOWPOWERACTIVE, SPI_GETPOWEROFFACTIVE};
constexpr UINT writes[] = {SPI_SETSCREENSAVEACTIVE, SPI_SETLOWPOWERACTIVE, SPI_SETPOWEROFFACTIVE};

BOOL value_of(UINT parameter)
{
    BOOL value = 4711;
    EXPECT_TRUE(SystemParametersInfoW(parameter, 0, &value, 0));
    return value;
}

void expect_all_off()
{
    for (const UINT read : reads)
        EXPECT_EQ(value_of(read), FALSE) << read;
}

// On Windows these are the machine's own settings: the destructor restores them.
class Power : public testing::Test
{
protected:
    Power()
    {
        for (size_t i = 0; i < 3; ++i)
        {
            m_former[i] = value_of(reads[i]);
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

// Also without a reason: the system then uses its own.
TEST_F(Power, TurningOffAndRestoringComeBackToTheStart)
{
    constexpr EXECUTION_STATE awake = ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_AWAYMODE_REQUIRED;
    for (const wchar_t* const reason : {L"A film is running", static_cast<const wchar_t*>(nullptr)})
    {
        SystemParametersInfoW(SPI_SETLOWPOWERACTIVE, FALSE, nullptr, 0);
        EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, true, reason), QV_OK);
        expect_all_off();
        EXPECT_EQ(SetThreadExecutionState(awake), awake);
        EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, false, nullptr), QV_OK);
        EXPECT_EQ(SetThreadExecutionState(ES_CONTINUOUS), ES_CONTINUOUS);
        EXPECT_EQ(value_of(SPI_GETLOWPOWERACTIVE), FALSE) << "as it was";
        EXPECT_EQ(value_of(SPI_GETSCREENSAVEACTIVE), TRUE);
        EXPECT_EQ(value_of(SPI_GETPOWEROFFACTIVE), TRUE);
    }
}

// The settings to restore are then the zeros of the first time.
TEST_F(Power, TurningOffTwiceLeavesPowerSavingOff)
{
    QV_DisableWindowsPowerSave(nullptr, true, L"once");
    QV_DisableWindowsPowerSave(nullptr, true, L"twice");
    QV_DisableWindowsPowerSave(nullptr, false, nullptr);
    expect_all_off();
}

} // namespace

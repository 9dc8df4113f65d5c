#include <climits>

#include <gtest/gtest.h>

#include "support/files.h"

using test::OpenedFile;

namespace
{

struct tm at(int year, int month, int day, int hour = 12, int minute = 34, int second = 56)
{
    struct tm time = {};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return time;
}

void expect_same(const struct tm& got, const struct tm& wanted)
{
    EXPECT_EQ(got.tm_year, wanted.tm_year);
    EXPECT_EQ(got.tm_mon, wanted.tm_mon);
    EXPECT_EQ(got.tm_mday, wanted.tm_mday);
    EXPECT_EQ(got.tm_hour, wanted.tm_hour);
    EXPECT_EQ(got.tm_min, wanted.tm_min);
    EXPECT_EQ(got.tm_sec, wanted.tm_sec);
    EXPECT_EQ(got.tm_isdst, -1);
}

class FileTimes : public testing::Test
{
protected:
    OpenedFile m_file{test::path_in(test::make_folder("times"), "file"),
                      QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE};
    struct tm m_creation = {}, m_access = {}, m_write = {};
};

TEST_F(FileTimes, ComeBackAsTheyWereSetEachForItself)
{
    const struct tm creation = at(2001, 2, 3), access = at(2012, 12, 31), write = at(2024, 3, 1);
    ASSERT_EQ(QV_TouchFile(m_file, &creation, &access, &write), QV_OK);
    ASSERT_EQ(QV_GetFileTimes(m_file, &m_creation, &m_access, &m_write), QV_OK);
    expect_same(m_creation, creation);
    expect_same(m_access, access);
    expect_same(m_write, write);
    EXPECT_EQ(m_creation.tm_yday, 33);
    EXPECT_EQ(m_access.tm_yday, 365) << "the last day of a leap year";
    EXPECT_EQ(m_write.tm_yday, 60) << "1 March of a leap year";
    EXPECT_EQ(m_write.tm_wday, 5);

    const struct tm later = at(2023, 3, 1, 0, 0, 0);
    ASSERT_EQ(QV_TouchFile(m_file, nullptr, nullptr, &later), QV_OK);
    ASSERT_EQ(QV_GetFileTimes(m_file, &m_creation, nullptr, &m_write), QV_OK);
    expect_same(m_creation, creation);
    expect_same(m_write, later);
    EXPECT_EQ(m_write.tm_yday, 59) << "1 March of another year";
}

TEST_F(FileTimes, ABadTimeSetsNone)
{
    const struct tm good = at(2001, 2, 3);
    ASSERT_EQ(QV_TouchFile(m_file, &good, &good, &good), QV_OK);
    struct tm bad = at(2002, 14, 1);
    EXPECT_EQ(QV_TouchFile(m_file, nullptr, nullptr, &bad), QV_ERR_NULLPTR);
    bad = at(2023, 2, 29);
    const struct tm other = at(2005, 5, 5);
    EXPECT_EQ(QV_TouchFile(m_file, &other, &bad, &other), QV_ERR_NULLPTR);
    ASSERT_EQ(QV_GetFileTimes(m_file, &m_creation, &m_access, &m_write), QV_OK);
    expect_same(m_creation, good);
    expect_same(m_write, good);
    EXPECT_EQ(QV_TouchFile(m_file, nullptr, nullptr, nullptr), QV_OK);
}

TEST_F(FileTimes, AFieldBeyond16BitsIsNoTimeThatExists)
{
    // Each would be a good field if it were cut.
    struct tm bad = at(2002, 1, 1);
    for (int tm::*field :
         {&tm::tm_year, &tm::tm_mon, &tm::tm_mday, &tm::tm_hour, &tm::tm_min, &tm::tm_sec})
        for (const int change : {0x10000, -0x10000})
        {
            bad = at(2002, 1, 1);
            bad.*field += change;
            EXPECT_EQ(QV_TouchFile(m_file, nullptr, nullptr, &bad), QV_ERR_NULLPTR)
                << bad.tm_year << " " << bad.tm_mon << " " << bad.tm_mday << " " << bad.tm_hour;
        }
    bad = at(2002, 1, 1);
    bad.tm_mon = INT_MAX;
    EXPECT_EQ(QV_TouchFile(m_file, nullptr, nullptr, &bad), QV_ERR_NULLPTR);
    for (const int year : {1600, 30'828})
    {
        bad = at(year, 6, 1);
        EXPECT_EQ(QV_TouchFile(m_file, &bad, nullptr, nullptr), QV_ERR_NULLPTR) << year;
    }
}

TEST_F(FileTimes, ATimeIsKeptOrRefusedButNeverChanged)
{
    const struct tm good = at(2001, 2, 3);
    ASSERT_EQ(QV_TouchFile(m_file, &good, &good, &good), QV_OK);
    for (const int year : {1601, 1800, 1901, 1969, 2038, 2107, 2447, 9999, 30'827})
    {
        const struct tm odd = at(year, 6, 15);
        const int status = QV_TouchFile(m_file, nullptr, nullptr, &odd);
        ASSERT_EQ(QV_GetFileTimes(m_file, nullptr, &m_access, &m_write), QV_OK);
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_TOUCHFILE) << status;
        expect_same(m_write, status == QV_OK ? odd : good);
        expect_same(m_access, good);
        ASSERT_EQ(QV_TouchFile(m_file, nullptr, nullptr, &good), QV_OK);
    }
}

} // namespace

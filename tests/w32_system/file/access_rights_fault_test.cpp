// What QV_SetAccessRights tells about the user's account and a file's access list.
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

#include "support/files.h"

using test::Wide;

namespace
{

class AccessRights : public testing::Test
{
protected:
    AccessRights() { test::write_file(m_folder + "/file", "content"); }
    ~AccessRights() override { PlinthTestReset(); }
    Wide path(const char* name = "file") const { return test::path_in(m_folder, name); }
    const std::string m_folder = test::make_folder("rights");
};

TEST_F(AccessRights, GettingRefusesAndTouchesNothing)
{
    unsigned rights = 4711;
    EXPECT_EQ(QV_GetAccessRights(path(), &rights), QV_ERR_BADARG);
    EXPECT_EQ(rights, 4711u);
    EXPECT_EQ(QV_GetAccessRights(nullptr, nullptr), QV_ERR_BADARG);
}

TEST_F(AccessRights, SettingGoesThroughItsChecksAndChangesNothing)
{
    const auto before = std::filesystem::status(m_folder + "/file").permissions();
    EXPECT_EQ(QV_SetAccessRights(path(), 0), QV_ERR_BADARG);
    EXPECT_EQ(std::filesystem::status(m_folder + "/file").permissions(), before);
    EXPECT_EQ(QV_SetAccessRights(path("missing"), 0), QV_ERR_ACCESSRIGHTS);
    EXPECT_EQ(QV_SetAccessRights(nullptr, 0), QV_ERR_ACCESSRIGHTS);
}

TEST_F(AccessRights, EachStepThatFailsHasItsStatus)
{
    for (const char* const step :
         {"GetUserNameW", "LookupAccountNameW", "GetFileSecurityW", "InitializeSecurityDescriptor",
          "GetSecurityDescriptorDacl", "GetAclInformation", "InitializeAcl"})
        for (const unsigned nth : {1u, 2u})
        {
            const bool twice = step[0] == 'L' ||
                               std::string_view(step) == "GetFileSecurityW"; // size, then content
            if (nth == 2 && !twice)
                continue;
            PlinthTestFail(step, nth, 1, ERROR_ACCESS_DENIED);
            EXPECT_EQ(QV_SetAccessRights(path(), 0), QV_ERR_ACCESSRIGHTS) << step << " " << nth;
            PlinthTestReset();
        }
}

TEST_F(AccessRights, AMissingFunctionIsToldButForTheOneThatCanBeDoneWithout)
{
    PlinthTestFail("GetModuleHandleW", 1, 1, ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(QV_SetAccessRights(path(), 0), QV_ERR_NOSYMBOL);
    PlinthTestReset();
    for (unsigned nth = 1; nth <= 7; ++nth)
    {
        PlinthTestFail("GetProcAddress", nth, 1, ERROR_PROC_NOT_FOUND);
        EXPECT_EQ(QV_SetAccessRights(path(), 0), nth == 6 ? QV_ERR_BADARG : QV_ERR_NOSYMBOL) << nth;
        PlinthTestReset();
    }
}

TEST_F(AccessRights, AFileWithoutAListHasNoRightsToSet)
{
    PlinthTestFail("file lists", 1, 0, ERROR_NOT_SUPPORTED);
    EXPECT_EQ(QV_SetAccessRights(path(), 0), QV_ERR_ACCESSRIGHTS);
}

} // namespace

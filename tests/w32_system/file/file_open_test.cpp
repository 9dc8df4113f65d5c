#include <gtest/gtest.h>

#include "support/files.h"

using test::OpenedFile;
using test::Wide;

namespace
{

struct Disposition
{
    const char* name;
    unsigned access;
    int whenMissing;          // status
    int whenThere;            // status
    const char* contentAfter; // of a file that held "old", after opening it
};

void PrintTo(const Disposition& each, std::ostream* out)
{
    *out << each.name;
}

class Opening : public testing::TestWithParam<Disposition>
{
};

TEST_P(Opening, FollowsTheFlags)
{
    const std::string folder = test::make_folder("open");
    const Wide missing = test::path_in(folder, "missing");
    const Wide there = test::path_in(folder, "there");
    test::write_file(folder + "/there", "old");
    const unsigned access = GetParam().access | QV_OPEN_READ | QV_OPEN_WRITE;

    EXPECT_EQ(OpenedFile(missing, access).status(), GetParam().whenMissing);
    EXPECT_EQ(QV_AccessFile(missing, 0) == QV_OK, GetParam().whenMissing == QV_OK);
    EXPECT_EQ(OpenedFile(there, access).status(), GetParam().whenThere);
    EXPECT_EQ(test::read_file(folder + "/there"), GetParam().contentAfter);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, Opening,
    testing::Values(Disposition{"Existing", 0, QV_ERR_OPENFILE, QV_OK, "old"},
                    Disposition{"Create", QV_OPEN_CREATE, QV_OK, QV_ERR_OPENFILE, "old"},
                    Disposition{"Always", QV_OPEN_ALWAYS, QV_OK, QV_OK, "old"},
                    Disposition{"CreateAlways", QV_OPEN_CREATE | QV_OPEN_ALWAYS, QV_OK, QV_OK, ""},
                    Disposition{"Truncate", QV_OPEN_TRUNCATE, QV_ERR_OPENFILE, QV_OK, ""},
                    Disposition{"TruncateAlwaysKeeps", QV_OPEN_TRUNCATE | QV_OPEN_ALWAYS, QV_OK,
                                QV_OK, "old"},
                    Disposition{"TruncateCreateRefuses", QV_OPEN_TRUNCATE | QV_OPEN_CREATE, QV_OK,
                                QV_ERR_OPENFILE, "old"}),
    [](const auto& each) { return each.param.name; });

TEST(OpenFile, ChecksItsArgumentsBeforeAnythingElse)
{
    const Wide path = test::path_in(test::make_folder("arguments"), "file");
    EXPECT_EQ(QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE, 0, 7, nullptr), QV_ERR_NULLPTR);
    QvFile file = reinterpret_cast<QvFile>(uintptr_t{0x1234});
    EXPECT_EQ(QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE, 0, 0, &file), QV_ERR_BADARG);
    EXPECT_EQ(QV_OpenFile(path, QV_OPEN_READ, 0, QV_SECURITY_DEFAULT, &file), QV_ERR_OPENFILE);
    EXPECT_EQ(file, reinterpret_cast<QvFile>(uintptr_t{0x1234})) << "a failure leaves it alone";
    EXPECT_EQ(QV_AccessFile(path, 0), QV_ERR_ACCESS) << "nothing may have been created";
}

TEST(OpenFile, RefusesBadPathsWithAStatus)
{
    const std::string folder = test::make_folder("bad");
    const Wide overLong = test::path_in(folder, std::string(5000, 'x'));
    const Wide longName = test::path_in(folder, std::string(300, 'x'));
    const Wide noParent = test::path_in(folder, "none/file");
    const unsigned access = QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_ALWAYS;
    EXPECT_EQ(OpenedFile(nullptr, access).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(L"", access).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(overLong, access).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(longName, access).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(noParent, access).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(test::windows_form(folder), access).status(), QV_ERR_OPENFILE)
        << "a folder is not a file";
}

TEST(OpenFile, ShareModesHoldWithinAProcess)
{
    const Wide path = test::path_in(test::make_folder("share"), "file");
    OpenedFile writer(path, QV_OPEN_WRITE | QV_OPEN_CREATE, QV_SHARE_READ);
    ASSERT_EQ(writer.status(), QV_OK);
    EXPECT_EQ(OpenedFile(path, QV_OPEN_WRITE, test::share_all).status(), QV_ERR_OPENFILE);
    EXPECT_EQ(OpenedFile(path, QV_OPEN_READ, QV_SHARE_READ).status(), QV_ERR_OPENFILE)
        << "a reader that denies writing can't join a writer";
    EXPECT_EQ(OpenedFile(path, QV_OPEN_READ, test::share_all).status(), QV_OK);
    uint64_t size = 1;
    EXPECT_EQ(QV_GetFileSizeFromName(path, &size), QV_OK) << "it falls back to sharing the write";
    EXPECT_EQ(size, 0u);
    writer.close();
    EXPECT_EQ(OpenedFile(path, QV_OPEN_WRITE, 0).status(), QV_OK);
}

TEST(OpenFile, OwnerOnlyFilesCanBeUsedByTheirOwner)
{
    const Wide path = test::path_in(test::make_folder("owner"), "file");
    OpenedFile file(path, QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE, 0, QV_SECURITY_OWNER_ONLY);
    ASSERT_EQ(file.status(), QV_OK);
    EXPECT_EQ(QV_WriteFile(file, "x", 1, nullptr, nullptr), QV_OK);
    EXPECT_EQ(file.close(), QV_OK);
    EXPECT_EQ(OpenedFile(path, QV_OPEN_READ).status(), QV_OK);
}

TEST(CloseFile, TellsAHandleThatIsNotOpen)
{
    const Wide path = test::path_in(test::make_folder("close"), "file");
    QvFile file = nullptr;
    ASSERT_EQ(QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE, 0, QV_SECURITY_DEFAULT, &file),
              QV_OK);
    EXPECT_EQ(QV_CloseFile(file), QV_OK);
    EXPECT_EQ(QV_CloseFile(file), QV_ERR_CLOSEFILE);
    EXPECT_EQ(QV_CloseFile(nullptr), QV_ERR_CLOSEFILE);
}

} // namespace

// The example of docs/how-tests-work.md: the same call when the disk is full.
#include "support/files.h"
#include "support/test.h"

namespace
{

TEST(CopiedFileFault, LeavesNoPartOfItselfOnAFullDisk)
{
    const std::string folder = test::make_folder("copied");
    test::write_file(folder + "/source", "some bytes");

    PlinthTestFail("copy_file_range", 1, 0, ENOSPC); // each call from the first on
    const int status = QV_CopyFile(test::path_in(folder, "source"), test::path_in(folder, "target"),
                                   1, nullptr, nullptr, nullptr);
    PlinthTestReset();

    EXPECT_EQ(status, QV_ERR_COPYFILE);
    EXPECT_FALSE(std::filesystem::exists(folder + "/target"));
    EXPECT_EQ(test::read_file(folder + "/source"), "some bytes");
}

} // namespace

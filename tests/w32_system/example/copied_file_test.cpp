// The example of docs/how-tests-work.md: a test of what users see.
#include "support/files.h"
#include "support/test.h"

namespace
{

TEST(CopiedFile, HasTheBytesOfItsSource)
{
    const std::string folder = test::make_folder("copied");
    test::write_file(folder + "/source", "some bytes");

    const int status = QV_CopyFile(test::path_in(folder, "source"), test::path_in(folder, "target"),
                                   1, nullptr, nullptr, nullptr);

    EXPECT_EQ(status, QV_OK);
    EXPECT_EQ(test::read_file(folder + "/target"), "some bytes");
}

} // namespace

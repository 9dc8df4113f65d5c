// Storing resources when the update fails at its end, or the data are larger than a resource may
// be.

#include "support/test.h"

#include "support/files.h"
#include "support/modules.h"

namespace
{

TEST(ResourceFaults, AnUpdateThatFailsAndDataThatAreTooLargeLeaveTheModule)
{
    const std::string folder = test::make_folder("resource_faults");
    const test::Wide module = test::windows_form(test::copy_module(folder, "module64.dll"));
    test::write_file(folder + "/data", "bytes");
    // The text of the failure, "" for a success.
    const auto store = [&]
    {
        const int status = QV_ResourceToDll(L"X", module, test::path_in(folder, "data"));
        return status == QV_OK ? "" : test::utf8(QV_GetResCopyError());
    };
    for (const auto& [step, error] : {std::pair{"UpdateResourceW", int{ERROR_OUTOFMEMORY}},
                                      {"rename", EACCES}}) // at the end of the update
    {
        PlinthTestFail(step, 1, 1, error);
        EXPECT_EQ(store(), "Updating resource failed.") << step;
        PlinthTestReset();
    }
    for (const uint64_t size : {uint64_t{1} << 31, (uint64_t{1} << 32) + 5})
    {
        std::filesystem::resize_file(folder + "/data", size); // a hole: it takes no room
        EXPECT_EQ(store(), "Cannot open the data file.") << size;
    }
    EXPECT_EQ(test::read_file(folder + "/module64.dll"),
              test::read_file(test::module_path("module64.dll")));
    std::filesystem::resize_file(folder + "/data", 5);
    EXPECT_EQ(store(), "") << "nothing of the failed updates is in the way";
}

} // namespace

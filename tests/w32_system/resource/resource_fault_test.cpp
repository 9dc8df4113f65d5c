// The failures of copying resources that only a failing system call, or a strange data file, shows.

#include "support/test.h"

#include "support/files.h"
#include "support/modules.h"

using test::Wide;

namespace
{

class ResourceFaults : public testing::Test
{
protected:
    ResourceFaults() { test::write_file(m_folder + "/data", "bytes"); }
    ~ResourceFaults() override { PlinthTestReset(); }
    Wide path(const std::string& name) const { return test::path_in(m_folder, name); }
    // The text of the failure of each; "" for a success.
    static std::string failure(int status)
    {
        EXPECT_TRUE(status == QV_OK || status == QV_ERR_SYSTEM) << status;
        return status == QV_OK ? "" : test::utf8(QV_GetResCopyError());
    }
    std::string store(const std::string& data) const
    {
        return failure(QV_ResourceToDll(L"X", m_module, path(data)));
    }
    bool module_is_as_it_was() const
    {
        return test::read_file(m_folder + "/module64.dll") ==
               test::read_file(test::module_path("module64.dll"));
    }
    const std::string m_folder = test::make_folder("resource_faults");
    const Wide m_module = test::windows_form(test::copy_module(m_folder, "module64.dll"));
};

TEST_F(ResourceFaults, EachStepOfTakingOneOutHasItsText)
{
    for (const auto& [step, text] : {std::pair{"LoadResource", "Cannot load resource."},
                                     {"LockResource", "Cannot lock resource."}})
    {
        PlinthTestFail(step, 1, 1, ERROR_OUTOFMEMORY);
        EXPECT_EQ(failure(QV_DllToResource(L"Alpha", m_module, path("out"))), text);
        EXPECT_TRUE(std::filesystem::is_empty(m_folder + "/out")) << "made, and empty";
        PlinthTestReset();
    }
}

TEST_F(ResourceFaults, AnUpdateThatFailsLeavesTheModule)
{
    for (const auto& [step, error] : {std::pair{"UpdateResourceW", int{ERROR_OUTOFMEMORY}},
                                      {"rename", EACCES}}) // at the end of the update
    {
        PlinthTestFail(step, 1, 1, error);
        EXPECT_EQ(store("data"), "Updating resource failed.") << step;
        PlinthTestReset();
    }
    EXPECT_TRUE(module_is_as_it_was());
    EXPECT_EQ(store("data"), "") << "nothing of the failed updates is in the way";
}

TEST_F(ResourceFaults, DataThatCannotBeReadWholeIsRefused)
{
    std::filesystem::create_directory(m_folder + "/folder");
    EXPECT_EQ(store("folder"), "Cannot open the data file.");
    for (const uint64_t size : {uint64_t{1} << 31, (uint64_t{1} << 32) + 5})
    {
        std::filesystem::resize_file(m_folder + "/data", size); // takes no room
        EXPECT_EQ(store("data"), "Cannot open the data file.") << size;
    }
    EXPECT_TRUE(module_is_as_it_was());
}

} // namespace

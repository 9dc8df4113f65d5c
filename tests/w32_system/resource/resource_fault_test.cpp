// The failures of copying resources that only a failing system call, or a strange data file, shows.
#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>

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
    int store(const std::string& data) const
    {
        return QV_ResourceToDll(L"X", path("module64.dll"), path(data));
    }
    static std::string failure()
    {
        return QV_GetResCopyError() ? test::utf8(QV_GetResCopyError()) : "none";
    }
    bool module_is_as_it_was() const
    {
        return test::read_file(m_module) == test::read_file(test::module_path("module64.dll"));
    }
    const std::string m_folder = test::make_folder("resource_faults");
    const std::string m_module = test::copy_module(m_folder, "module64.dll");
};

TEST_F(ResourceFaults, EachStepOfTakingOneOutHasItsText)
{
    PlinthTestFail("LoadResource", 1, 1, ERROR_OUTOFMEMORY);
    EXPECT_EQ(QV_DllToResource(L"Alpha", path("module64.dll"), path("out")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot load resource.");
    PlinthTestReset();
    PlinthTestFail("LockResource", 1, 1, ERROR_OUTOFMEMORY);
    EXPECT_EQ(QV_DllToResource(L"Alpha", path("module64.dll"), path("out")), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot lock resource.");
    EXPECT_EQ(test::read_file(m_folder + "/out"), "") << "made, and empty";
}

TEST_F(ResourceFaults, AnUpdateThatFailsLeavesTheModule)
{
    PlinthTestFail("UpdateResourceW", 1, 1, ERROR_OUTOFMEMORY);
    EXPECT_EQ(store("data"), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Updating resource failed.");
    PlinthTestReset();
    PlinthTestFail("rename", 1, 1, EACCES); // at the end of the update
    EXPECT_EQ(store("data"), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Updating resource failed.");
    PlinthTestReset();
    EXPECT_TRUE(module_is_as_it_was());
    EXPECT_EQ(store("data"), QV_OK) << "nothing of the failed updates is in the way";
}

TEST_F(ResourceFaults, DataThatCannotBeReadWholeIsRefused)
{
    std::filesystem::create_directory(m_folder + "/folder");
    EXPECT_EQ(store("folder"), QV_ERR_SYSTEM);
    EXPECT_EQ(failure(), "Cannot open the data file.");
    for (const uint64_t size : {uint64_t{1} << 31, (uint64_t{1} << 32) + 5})
    {
        std::filesystem::resize_file(m_folder + "/data", size); // takes no room
        EXPECT_EQ(store("data"), QV_ERR_SYSTEM) << size;
        EXPECT_EQ(failure(), "Cannot open the data file.");
    }
    EXPECT_TRUE(module_is_as_it_was());
    test::write_file(m_folder + "/data", "bytes");
    EXPECT_EQ(store("data"), QV_OK);
}

TEST_F(ResourceFaults, ALoaderSkipsWhatCannotBeLoaded)
{
    CQvRscData data;
    PlinthTestFail("LoadResource", 1, 1, ERROR_OUTOFMEMORY);
    QV_RCDATAToCQvRscData(data, path("module64.dll"));
    EXPECT_EQ(data.GetCQvByteArrayW32Count(), 2);
}

} // namespace

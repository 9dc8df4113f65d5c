// Which resources of a program say where and how it logs, and which do not count.
#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/environment.h"

namespace
{

struct Log
{
    std::string folder;
    bool utf16;
};

// Of a run of a probe, from a folder of its own in which an installer's file may name "FromFile".
Log log_of(const std::string& probe, bool with_file)
{
    const std::string folder = test::make_folder(probe + (with_file ? "_with_file" : ""));
    std::filesystem::copy_file(PLINTH_LOG_PROBES + probe, folder + "/probe");
    if (with_file)
    {
        const test::Wide text("<CQvSystem runtype=\"CQvListVariant\">"
                              "<wsAppFolder runtype=\"CQvStringW\" value=\"FromFile\"/>");
        test::write_file(folder + "/SetupOptions.xml",
                         {reinterpret_cast<const char*>(text.c_str()), text.size() * 2});
    }
    FILE* const out = popen((folder + "/probe").c_str(), "r");
    char line[4096] = "";
    std::string path = out && std::fgets(line, sizeof line, out) ? line : "";
    EXPECT_EQ(out ? pclose(out) : -1, 0) << probe;
    path.erase(path.find_last_not_of('\n') + 1);
    std::string below = std::filesystem::path(path).parent_path().lexically_normal().string();
    const std::string common = test::root() + "/ProgramData/";
    EXPECT_EQ(below.rfind(common, 0), 0u) << path;
    return {below.substr(std::min(common.size(), below.size())),
            test::read_file(path).substr(0, 2) == "\xFF\xFE"};
}

TEST(LogResources, AFolderOf511BytesCountsAndAnyByteButZeroIsUtf16)
{
    std::filesystem::create_directories(test::root() + "/ProgramData/Acme/Zz");
    for (const bool with_file : {false, true})
    {
        const Log log = log_of("511", with_file);
        EXPECT_EQ(log.folder, "Acme/Zz/Logfiles") << "before the installer's file";
        EXPECT_TRUE(log.utf16);
    }
}

TEST(LogResources, AFolderOf512BytesAndACharacterSetOfTwoCountAsNone)
{
    const Log log = log_of("512", false);
    EXPECT_EQ(log.folder, "Quorvane/Platform/Logfiles");
    EXPECT_FALSE(log.utf16);
    EXPECT_EQ(log_of("512", true).folder, "FromFile/Logfiles") << "the next source";
}

TEST(LogResources, AnEmptyFolderCountsAsNone)
{
    const Log log = log_of("empty", false);
    EXPECT_EQ(log.folder, "Quorvane/Platform/Logfiles");
    EXPECT_FALSE(log.utf16);
    EXPECT_EQ(log_of("empty", true).folder, "FromFile/Logfiles");
}

} // namespace

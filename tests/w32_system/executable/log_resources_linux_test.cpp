// Which resources of a program, and which files of its installer, say where and how it logs.
#include <filesystem>
#include <regex>

#include <dlfcn.h>

#include <plinth_w32_system.h>

#include "support/commands.h"
#include "support/environment.h"

namespace
{

std::string wide_bytes(const std::string& ascii)
{
    std::string bytes;
    for (const char c : ascii)
        bytes += {c, '\0'};
    return bytes;
}

// The folder and the character set of the log of a probe that runs from a folder of its own, with
// an installer's file if there are bytes for it.
std::string log_of(const std::string& probe, const std::string& xml)
{
    const std::string folder = test::make_folder(probe);
    std::filesystem::copy_file(PLINTH_LOG_PROBES + probe, folder + "/probe",
                               std::filesystem::copy_options::overwrite_existing);
    if (!xml.empty())
        test::write_file(folder + "/SetupOptions.xml", xml);
    const std::string path = test::output_of(folder + "/probe");
    const std::string common = test::root() + "/ProgramData/";
    EXPECT_TRUE(path.starts_with(common)) << path;
    return std::filesystem::path(path).parent_path().lexically_normal().string().substr(
               common.size()) +
           (test::read_file(path).starts_with("\xFF\xFE") ? ", UTF-16" : ", bytes");
}

std::string xml_with(const std::string& folder)
{
    return "<x><CQvSystem runtype=\"CQvListVariant\"><a/><wsAppFolder runtype=\"CQvStringW\" "
           "value=\"" +
           folder + "\"/></x>";
}

TEST(LogResources, CountUpToTheirLimitsBeforeTheInstallersFile)
{
    std::filesystem::create_directories(test::root() + "/ProgramData/Acme/Zz");
    const std::string good = wide_bytes(xml_with("Mine\\App"));
    const std::string usual = "Quorvane/Platform/Logfiles, bytes";
    const std::string from_file = "Mine/App/Logfiles, bytes";
    const std::string rows[][3] = {
        {"511", good, "Acme/Zz/Logfiles, UTF-16"},
        {"512", "", usual},
        {"512", good, from_file},
        {"512", xml_with("Mine\\App"), usual},                             // one byte a character
        {"512", good.substr(0, good.rfind(wide_bytes("App")) + 3), usual}, // half a character
        {"512", wide_bytes(xml_with(std::string(100'000, 'v'))), usual}};
    for (const auto& [probe, xml, expected] : rows)
        EXPECT_EQ(log_of(probe, xml), expected) << probe << " " << xml.substr(0, 1'000);
}

// The library is a copy too. Its file and the program's are renamed, replaced by another program
// and removed, before the log begins and the report is made.
TEST(LogResources, AndStackLinesAreThoseOfTheRunningFiles)
{
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&QV_Log), &library), 0);
    std::filesystem::create_directories(test::root() + "/ProgramData/Acme/Zz");
    const char* const fates[] = {"true",           "mv probe old",   "mv new probe", "rm probe",
                                 "mv library old", "mv new library", "rm library"};
    for (const char* const fate : fates)
    {
        SCOPED_TRACE(fate);
        const std::string folder = test::make_folder(std::to_string(fate - fates[0]));
        std::filesystem::copy_file(PLINTH_LOG_PROBES "511", folder + "/probe");
        std::filesystem::copy_file(PLINTH_LOG_PROBES "512", folder + "/new");
        std::filesystem::copy_file(library.dli_fname, folder + "/library");
        const std::string output =
            test::output_of("cd " + folder + " && LD_PRELOAD=$PWD/library ./probe '" + fate + "'");
        const size_t end = output.find('\n');
        EXPECT_EQ(output.substr(0, end), folder + "/probe");
        const std::string log = output.substr(end + 1);
        EXPECT_NE(log.find("/Acme/"), std::string::npos) << log;
        std::string report = test::read_file(log);
        EXPECT_TRUE(report.starts_with("\xFF\xFE"));
        std::erase(report, '\0');
        EXPECT_TRUE(
            std::regex_search(report, std::regex("Last Error[^\n]*\\s*0x[^\n]*probe: main")))
            << report;
        std::filesystem::remove(log);
    }
}

} // namespace

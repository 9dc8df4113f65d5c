// Which resources of a program, and which files of its installer, say where and how it logs.
#include <filesystem>

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

} // namespace

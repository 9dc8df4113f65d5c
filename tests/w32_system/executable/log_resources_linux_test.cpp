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
std::string log_of(const std::string& probe, const std::string& xml = "")
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

// A folder of 511 bytes and any byte but zero count; a folder of 512 bytes, an empty one, and a
// character set of two bytes do not.
TEST(LogResources, CountUpToTheirLimitsBeforeTheInstallersFile)
{
    std::filesystem::create_directories(test::root() + "/ProgramData/Acme/Zz");
    const char* const rows[][3] = {
        {"511", "Acme/Zz/Logfiles, UTF-16", "Acme/Zz/Logfiles, UTF-16"},
        {"512", "Quorvane/Platform/Logfiles, bytes", "FromFile/Logfiles, bytes"},
        {"empty", "Quorvane/Platform/Logfiles, bytes", "FromFile/Logfiles, bytes"}};
    for (const auto& [probe, alone, with_file] : rows)
    {
        EXPECT_EQ(log_of(probe), alone) << probe;
        EXPECT_EQ(log_of(probe, wide_bytes(xml_with("FromFile"))), with_file) << probe;
    }
}

TEST(LogResources, WithoutThemTheInstallersFileNamesTheFolder)
{
    const std::string good = wide_bytes(xml_with("Mine\\App"));
    const std::string in_the_value = good.substr(0, good.rfind(wide_bytes("App")) + 3);
    const struct
    {
        const char* what;
        std::string xml;
        bool counts;
    } rows[] = {{"good", good, true},
                {"with a byte order mark", "\xff\xfe" + good, true},
                {"one byte a character", xml_with("Mine\\App"), false},
                {"cut in the value, in the middle of a character", in_the_value, false},
                {"long", wide_bytes(xml_with(std::string(100'000, 'v'))), false},
                {"without the list that must come first", good.substr(8), false}};
    for (const auto& row : rows)
        EXPECT_EQ(log_of("empty", row.xml),
                  row.counts ? "Mine/App/Logfiles, bytes" : "Quorvane/Platform/Logfiles, bytes")
            << row.what;
}

} // namespace

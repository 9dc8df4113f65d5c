// Which resources of a program, and which files of its installer, set the folder and the form of
// its log.
#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <plinth_w32_system.h>

#include "support/commands.h"
#include "support/environment.h"
#include "support/log_files.h"

namespace
{

std::string wide_bytes(const std::string& ascii)
{
    std::string bytes;
    for (const char c : ascii)
        bytes += {c, '\0'};
    return bytes;
}

// Runs a probe from a folder of its own, with an installer's file unless xml is empty; returns the
// folder and the character set of its log.
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
        {"512", good.substr(0, good.rfind(wide_bytes("App")) + 3), usual}, // cut inside a character
        {"512", wide_bytes(xml_with(std::string(100'000, 'v'))), usual}};
    for (const auto& [probe, xml, expected] : rows)
        EXPECT_EQ(log_of(probe, xml), expected) << probe << " " << xml.substr(0, 1'000);
}

// The bytes of all of today's files in a folder, by their names.
std::map<std::string, std::string> logs_in(const std::string& folder)
{
    std::map<std::string, std::string> logs;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        logs[entry.path().filename()] = test::read_file(entry.path());
    return logs;
}

TEST(LogResources, OfAByteThatNamesNoFormNoFileWithContentIsTaken)
{
    const std::string folder = test::root() + "/ProgramData/Acme/Zz/Logfiles";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    test::set_log_setting(L"LogPerSession_4", 0);
    log_of("511", "");
    const auto first = logs_in(folder);
    log_of("511", "");
    const auto both = logs_in(folder);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(both.size(), 2u);
    EXPECT_EQ(both.at(first.begin()->first), first.begin()->second);
    for (const auto& [name, bytes] : both)
        EXPECT_TRUE(bytes.starts_with("\xFF\xFE"));
}

// Three programs of each form, which all start with an empty folder.
void log_at_once(const std::string& folder)
{
    const std::string starter = test::root() + "/start";
    test::write_file(starter, "");
    const int start = ::open(starter.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(start, LOCK_EX), 0);
    std::string all;
    for (const char* const form : {"ansi", "unicode", "ansi", "unicode", "ansi", "unicode"})
        all += PLINTH_LOG_PROBES + (form + (" lock '" + starter + "' & "));
    FILE* const out = ::popen((all + "wait").c_str(), "r");
    for (int ready = 0; ready < 6; ++ready)
        ASSERT_EQ(std::fgetc(out), '.');
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    ::close(start);
    while (std::fgetc(out) != EOF)
    {
    }
    EXPECT_EQ(::pclose(out), 0);
}

TEST(LogResources, ProgramsOfBothFormsThatStartAtOnceWriteNoFileOfMixedForm)
{
    const std::string folder = test::root() + "/ProgramData/Quorvane/Platform/Logfiles";
    CQvLogFile::CloseLog();
    test::set_log_setting(L"LogPerSession_4", 0);
    for (int batch = 0; batch < 20 && !testing::Test::HasFailure(); ++batch)
    {
        log_at_once(folder);
        std::ptrdiff_t lines = 0;
        for (const auto& [name, bytes] : logs_in(folder))
        {
            const bool is_unicode = bytes.starts_with("\xFF\xFE");
            EXPECT_EQ(bytes.find("\xFF\xFE", 2), bytes.npos);
            EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\0') * 2,
                      is_unicode ? static_cast<std::ptrdiff_t>(bytes.size()) - 2 : 0)
                << name;
            lines += std::count(bytes.begin(), bytes.end(), '\n');
        }
        EXPECT_EQ(lines, 6 * 2) << "a header and a line of each";
    }
}

TEST(LogResources, AFileThatAnotherProgramBeginsInBytesIsLeftToIt)
{
    test::start_log_after("other");
    EXPECT_EQ(QV_Log(L"text"), QV_OK);
    const std::filesystem::path current = test::native_form(CQvLogFile::GetLogFilename());
    const auto logs = logs_in(current.parent_path());
    EXPECT_EQ(logs.at(test::log_name(0)), "other");
    EXPECT_EQ(current.filename(), test::log_name(1));
    EXPECT_TRUE(logs.at(test::log_name(1)).starts_with("\xFF\xFE"));
}

#if !defined(__SANITIZE_ADDRESS__) // the sanitizer's own library must be loaded first
// The library is a copy too. Its file and the program's are renamed, replaced by another program or
// removed, before the log begins and the report is made.
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
        const std::string output = test::output_of(
            "cd " + folder + " && LD_PRELOAD=$PWD/library ./probe run '" + fate + "'");
        const size_t end = output.find('\n');
        EXPECT_EQ(output.substr(0, end), folder + "/probe");
        const std::string log = output.substr(end + 1);
        EXPECT_NE(log.find("/Acme/"), std::string::npos) << log;
        std::string report = test::read_file(log);
        EXPECT_TRUE(report.starts_with("\xFF\xFE"));
        std::erase(report, '\0');
        EXPECT_TRUE(std::regex_search(
            report, std::regex("Last Error[^\n]*\\s*0x[^\n]*probe: .*run_and_assert")))
            << report;
        std::filesystem::remove(log);
    }
}
#endif

} // namespace

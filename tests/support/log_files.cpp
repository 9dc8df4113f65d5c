#include "support/log_files.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <optional>
#include <regex>
#include <thread>

#include "support/machine_settings.h"

#ifdef _WIN32
#include <shlobj.h>
#else
#include <plinth_platform_test.h>
#endif

namespace fs = std::filesystem;

namespace test
{

namespace
{

std::optional<MachineSettings> g_settings; // settings that this test has changed

} // namespace

std::string log_folder()
{
#ifdef _WIN32
    // The name comes from the program's resource: see plinth_add_test.
    wchar_t common[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common);
    return utf8(common) + "\\plinth-tests\\" + fs::path(program()).stem().string() + "\\Logfiles";
#else
    return root() + "/ProgramData/Quorvane/Platform/Logfiles";
#endif
}

std::string log_name(unsigned number, int days_ago)
{
    const time_t day = time(nullptr) - time_t{days_ago} * 86'400;
    char name[64];
    size_t length = strftime(name, sizeof name, "qvapp_%Y-%m-%d", localtime(&day));
    if (number)
        length +=
            static_cast<size_t>(snprintf(name + length, sizeof name - length, "_(%04u)", number));
    return std::string(name, length) + ".log";
}

std::string read_log(const std::string& name)
{
    return read_file(log_folder() + "/" + name);
}

void write_log(const std::string& name, const std::string& bytes)
{
    write_file(log_folder() + "/" + name, bytes);
}

std::vector<std::string> log_names()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(log_folder()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string current_log()
{
    const wchar_t* const path = CQvLogFile::GetLogFilename();
    return path ? fs::path(native_form(path)).filename().string() : "";
}

void start_log()
{
    CQvLogFile::CloseLog();
    for (const std::string& name : log_names())
        fs::remove(log_folder() + "/" + name);
}

std::string log_content()
{
    static const std::regex header(stamp_pattern + "Log session started\\.\r\n");
    return std::regex_replace(read_log(current_log()), header, "");
}

void set_log_setting(const wchar_t* name, DWORD value)
{
    if (!g_settings)
        g_settings.emplace(L"Software\\Quorvane\\Misc\\LogFile");
    g_settings->set(utf8(name), value);
}

#ifndef _WIN32
void start_log_after(const std::string& first_bytes)
{
    constexpr uint64_t gate = uint64_t{1} << 40; // locked to write a log's first bytes
    constexpr unsigned attempts = 10;
    set_log_setting(L"LogPerSession_4", 0);
    const fs::path folder = fs::path(native_form(CQvLogFile::GetLogFilename())).parent_path();
    CQvLogFile::CloseLog();
    fs::remove_all(folder);
    fs::create_directories(folder);
    const std::string file = folder / log_name(0);
    write_file(file, "");
    const Wide path = windows_form(file);
    QvFile other = nullptr;
    EXPECT_EQ(QV_OpenFile(path, QV_OPEN_READ | QV_OPEN_WRITE, QV_SHARE_READ | QV_SHARE_WRITE,
                          QV_SECURITY_DEFAULT, &other),
              QV_OK);
    EXPECT_EQ(QV_LockFile(other, gate, 1), QV_OK);
    std::atomic<bool> done{false};
    std::jthread log(
        [&]
        {
            CQvLogFile::Detail();
            done = true;
        });
    PlinthTestArm();
    while (!done && PlinthTestCalls("fcntl") < attempts) // it keeps trying for the gate
        std::this_thread::yield();
    PlinthTestReset();
    uint64_t written = 0;
    QV_WriteFile(other, first_bytes.data(), first_bytes.size(), &written, nullptr);
    QV_UnlockFile(other, gate, 1);
    QV_CloseFile(other);
}
#endif

FreshLog::FreshLog()
{
    CQvLogFile::SetMaxLogMessageLength(-1);
    start_log();
}

FreshLog::~FreshLog()
{
#ifndef _WIN32
    PlinthTestReset();
#endif
    CQvLogFile::CloseLog();
    CQvLogFile::SetMaxLogMessageLength(512);
    g_settings.reset();
    QV_SetTraceOptions(QV_DIAG_DEBUGGER | QV_DIAG_LOGFILE);
    QV_SetFailifOptions(QV_DIAG_LOGFILE);
}

} // namespace test

#include "support/log_files.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <regex>

namespace fs = std::filesystem;

namespace test
{

std::string log_folder()
{
#ifdef _WIN32
    return native_form(CQvLogFile::GetLogFilename());
#else
    return root() + "/ProgramData/Quorvane/Platform/Logfiles";
#endif
}

std::string log_name(unsigned number)
{
    const time_t now = time(nullptr);
    char name[64];
    strftime(name, sizeof name, "qvapp_%Y-%m-%d", localtime(&now));
    std::string result = name;
    if (number)
    {
        snprintf(name, sizeof name, "_(%04u)", number);
        result += name;
    }
    return result + ".log";
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
    static const std::regex header(
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* Log session started\\.\r\n");
    const std::string file = log_folder() + "/" + current_log();
    return std::regex_replace(read_file(file), header, "");
}

void set_log_setting(const wchar_t* name, DWORD value)
{
    HKEY key = nullptr;
    RegCreateKeyW(HKEY_LOCAL_MACHINE, L"Software\\Quorvane\\Misc\\LogFile", &key);
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
    RegCloseKey(key);
}

} // namespace test

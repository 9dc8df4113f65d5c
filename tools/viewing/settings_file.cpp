#include "settings_file.h"

#include <algorithm>
#include <utility>

#include <windows.h>

#include "config_folder.h"
#include "failure.h"
#include "output_file.h"
#include "regular_file.h"
#include "text.h"

namespace trace
{

namespace
{

constexpr std::string_view ending = ".views";
constexpr size_t most_bytes = 4 << 20; // no settings are longer

bool is_missing(const std::string& path)
{
    if (GetFileAttributesW(wide_from_utf8(path).data()) != INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// Reads the file; returns the reason if it can't be read.
std::string read_file(const std::string& path, std::string& text)
{
    const WideText name = wide_from_utf8(path);
    if (!regular_file_id(name))
        return "it is no regular file, or can't be reached";
    const HANDLE file = CreateFileW(name.data(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return error_text(GetLastError());
    text.resize(most_bytes + 1);
    size_t size = 0;
    DWORD done = 0;
    DWORD error = ERROR_SUCCESS;
    do
        if (!ReadFile(file, text.data() + size, static_cast<DWORD>(text.size() - size), &done,
                      nullptr))
            error = GetLastError();
    while (error == ERROR_SUCCESS && done > 0 && (size += done) < text.size());
    CloseHandle(file);
    text.resize(size);
    return error == ERROR_SUCCESS ? std::string() : error_text(error);
}

ParsedSettings parse_file(const std::string& text)
{
    if (text.size() <= most_bytes)
        return parse_settings(text);
    return {.state = SettingsState::damaged, .problem = "it is too long"};
}

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw Failure(exit_failed, "the views can't be saved as " + path + ": " + why);
}

void make_folders(const std::string& path)
{
    for (size_t end = path.find_first_of("/\\", 1); end != std::string::npos;
         end = path.find_first_of("/\\", end + 1))
        CreateDirectoryW(wide_from_utf8(path.substr(0, end)).data(), nullptr);
}

bool move_file(const std::string& from, const std::string& to, DWORD flags)
{
    return MoveFileExW(wide_from_utf8(from).data(), wide_from_utf8(to).data(), flags) != FALSE;
}

// Returns the file's new name.
std::string put_aside(const std::string& path)
{
    constexpr int most = 1000;
    for (int number = 1; number < most; ++number)
    {
        std::string aside = path + ".damaged-" + std::to_string(number);
        if (move_file(path, aside, 0))
            return aside;
        const DWORD error = GetLastError();
        if (error != ERROR_ALREADY_EXISTS && error != ERROR_FILE_EXISTS)
            break;
    }
    return {};
}

// Throws Failure with the reason if the existing file may not be replaced. True if it is damaged.
bool is_to_be_kept(const std::string& path)
{
    if (is_missing(path))
        return false;
    std::string text;
    if (const std::string problem = read_file(path, text); !problem.empty())
        refuse(path, "what is there can't be read, and stays as it is: " + problem);
    const SettingsState state = parse_file(text).state;
    if (state == SettingsState::later)
        refuse(path, "what is there was made by a later version, and stays as it is");
    return state == SettingsState::damaged;
}

// Writes a new file first: the existing one stays whole if the disk is full, or this program ends.
void write_new(const std::string& path, const std::string& fresh, const std::string& text)
{
    make_folders(path);
    try
    {
        OutputFile file(fresh);
        file.write(text);
        file.flush();
    }
    catch (const Failure& failure)
    {
        DeleteFileW(wide_from_utf8(fresh).data());
        refuse(path, failure.what());
    }
}

} // namespace

std::string settings_path(const std::string& name)
{
    constexpr size_t longest = 100; // bytes; some file systems take 255 with the ending
    const bool is_name = !name.empty() && name.size() <= longest && name[0] != '.' &&
                         name.find_first_of("/\\<>:\"|?*") == std::string::npos &&
                         printable_name(name) == name;
    if (!is_name)
        throw Failure(exit_usage, "\"" + name + "\" can't be the name of a file of views");
    const std::string folder = config_folder();
    if (folder.empty())
        throw Failure(exit_failed, "views have no place: neither XDG_CONFIG_HOME nor HOME (on "
                                   "Windows APPDATA) names a folder");
    return folder + "/" + name + std::string(ending);
}

std::vector<std::string> settings_names()
{
    std::vector<std::string> names;
    const std::string folder = config_folder();
    if (folder.empty())
        return names;
    WIN32_FIND_DATAW found{};
    const HANDLE search =
        FindFirstFileW(wide_from_utf8(folder + "/*" + std::string(ending)).data(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do
    {
        const std::string name = utf8_from_wide(found.cFileName);
        if (name.size() > ending.size() && name.ends_with(ending))
            names.push_back(name.substr(0, name.size() - ending.size()));
    } while (FindNextFileW(search, &found));
    FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

LoadedSettings load_settings(const std::string& path)
{
    if (is_missing(path))
        return {};
    std::string text;
    if (const std::string problem = read_file(path, text); !problem.empty())
        return {.problem = "the views of " + path + " can't be read: " + problem};
    ParsedSettings parsed = parse_file(text);
    switch (parsed.state)
    {
    case SettingsState::good:
        return {.settings = std::move(parsed.settings)};
    case SettingsState::later:
        return {.problem = "the views of " + path +
                           " were made by a later version of this program: they are not shown, "
                           "and the file stays as it is"};
    case SettingsState::damaged:
        break;
    }
    return {.settings = std::move(parsed.settings),
            .problem = "the views of " + path + " are damaged: " + parsed.problem +
                       ". What could be read is shown; the file is kept when views are saved"};
}

std::string save_settings(const std::string& path, const ViewerSettings& settings)
{
    const bool keeps_damaged = is_to_be_kept(path);
    const std::string text = settings_text(settings);
    if (text.size() > most_bytes)
        refuse(path, "they are longer than the 4 MiB that can be read again");
    const std::string fresh = path + ".new-" + std::to_string(GetCurrentProcessId());
    write_new(path, fresh, text);
    std::string kept;
    if (keeps_damaged)
        kept = put_aside(path);
    if ((keeps_damaged && kept.empty()) || !move_file(fresh, path, MOVEFILE_REPLACE_EXISTING))
    {
        const std::string problem = error_text(GetLastError());
        DeleteFileW(wide_from_utf8(fresh).data());
        refuse(path, problem);
    }
    return keeps_damaged ? "the damaged views that were there are kept as " + kept : std::string();
}

} // namespace trace

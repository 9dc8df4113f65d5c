#include "log_inputs.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "failure.h"

namespace trace
{

namespace
{

std::string native(const std::string& path)
{
    return native_path(wide_from_utf8(path).data());
}

enum class Kind
{
    folder,
    file,
    missing,
};

Kind kind_of(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(wide_from_utf8(path).data());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::folder : Kind::file;
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
        return Kind::missing;
    throw Failure(exit_failed, native(path) + " can't be read: " + error_text(error));
}

size_t name_place(std::string_view path)
{
    return path.find_last_of("/\\") + 1; // 0 if there is no separator
}

bool is_log_path(std::string_view path)
{
    LogName name;
    return parse_log_name(path.substr(name_place(path)), name);
}

// Identifies a file, also among several that had the same path one after the other.
std::string identity(const LogName& name)
{
    return name.path + '\n' + std::to_string(name.id.first) + ' ' + std::to_string(name.id.second);
}

// The files that were found, by what is known without opening them.
using Known = std::multimap<std::tuple<FileId, std::string, uint64_t>, std::string>; // paths

// Adds the file; false if it was already there, perhaps with another path.
bool add_file(Known& known, const LogName& name)
{
    const auto key = std::make_tuple(name.id, name.date, name.number);
    const auto [first, last] = known.equal_range(key);
    const bool is_known = std::any_of(first, last,
                                      [&name](const auto& other)
                                      {
                                          return other.second == name.path ||
                                                 are_one_file(wide_from_utf8(other.second),
                                                              wide_from_utf8(name.path));
                                      });
    if (!is_known)
        known.emplace(key, name.path);
    return !is_known;
}

// Finds a file by its path alone: its size and time of writing are those in its folder's entry.
bool find_file(LogName& file)
{
    const WideText path = wide_from_utf8(file.path);
    const std::optional<FileId> id = regular_file_id(path);
    WIN32_FIND_DATAW entry;
    const HANDLE search = id ? FindFirstFileW(path.data(), &entry) : INVALID_HANDLE_VALUE;
    if (search == INVALID_HANDLE_VALUE)
        return false;
    FindClose(search);
    file.id = *id;
    file.size = uint64_t{entry.nFileSizeHigh} << 32 | entry.nFileSizeLow;
    file.written =
        uint64_t{entry.ftLastWriteTime.dwHighDateTime} << 32 | entry.ftLastWriteTime.dwLowDateTime;
    file.created =
        uint64_t{entry.ftCreationTime.dwHighDateTime} << 32 | entry.ftCreationTime.dwLowDateTime;
    return true;
}

} // namespace

LogInputs::LogInputs(const std::vector<std::string>& paths, bool may_be_missing, GoesOn goes_on)
{
    for (std::string path : paths)
    {
        while (path.size() > 1 && (path.back() == '/' || path.back() == '\\'))
            path.pop_back();
        const Kind kind = kind_of(path);
        if (kind == Kind::missing && !may_be_missing)
            throw Failure(exit_failed,
                          native(path) + " can't be read: " + error_text(ERROR_FILE_NOT_FOUND));
        if (kind == Kind::folder || (kind == Kind::missing && !is_log_path(path)))
            m_inputs.push_back({.path = path, .folder = path});
        else
            m_inputs.push_back(file_input(path, kind == Kind::file, goes_on));
        if (m_inputs.back().file.path.empty())
            find_logs(path); // fails now instead of later
    }
}

LogInputs::Input LogInputs::file_input(const std::string& path, bool is_there, GoesOn goes_on)
{
    Input input{.path = path};
    const size_t name = name_place(path);
    if (parse_log_name(std::string_view(path).substr(name), input.file))
        input.folder = name == 0 ? "." : path.substr(0, name > 1 ? name - 1 : name);
    input.file.path = input.folder.empty() ? path : input.folder + "\\" + path.substr(name);
    if (is_there)
        const LogFile opened(input.file); // fails if it can't be read
    if (!input.folder.empty())
        for (const LogName& other : find_logs(input.folder))
            if (other.path != input.file.path &&
                (goes_on == GoesOn::in_new_ones || other < input.file))
                input.passed.insert(identity(other));
    return input;
}

std::vector<LogInputs::Found> LogInputs::find(std::string& problem) const
{
    std::vector<Found> all;
    Known known; // a folder, or a file, may have several names
    for (size_t place = 0; place < m_inputs.size(); ++place)
    {
        std::vector<LogName> names;
        try
        {
            find_in(m_inputs[place], names);
        }
        catch (const Failure& failure)
        {
            problem = failure.what();
        }
        for (LogName& name : names)
            if (add_file(known, name))
                all.push_back({std::move(name), place});
    }
    return all;
}

void LogInputs::find_in(const Input& input, std::vector<LogName>& names)
{
    if (input.folder.empty())
    {
        LogName file = input.file;
        if (find_file(file))
            names.push_back(std::move(file));
        return;
    }
    names = find_logs(input.folder);
    std::erase_if(names,
                  [&](const LogName& name) { return input.passed.contains(identity(name)); });
}

std::string LogInputs::what() const
{
    std::string text;
    for (const Input& input : m_inputs)
        text += (text.empty() ? "" : ", ") + native(input.path);
    return text;
}

} // namespace trace

#include "log_inputs.h"

#include <algorithm>
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

bool is_folder(const std::string& path, bool may_be_missing)
{
    const DWORD attributes = GetFileAttributesW(wide_from_utf8(path).data());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const DWORD error = GetLastError();
    if (may_be_missing && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND))
        return true;
    throw Failure(exit_failed, native(path) + " can't be read: " + error_text(error));
}

// Which file it is, also of several that have one path one after the other.
std::string identity(const LogName& name)
{
    return name.path + '\n' + std::to_string(name.id.first) + ' ' + std::to_string(name.id.second);
}

// A file by its path alone: its size and time of writing are those of its folder's entry.
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

LogInputs::LogInputs(const std::vector<std::string>& paths, bool may_be_missing)
{
    for (std::string path : paths)
    {
        while (path.size() > 1 && (path.back() == '/' || path.back() == '\\'))
            path.pop_back();
        if (is_folder(path, may_be_missing))
            m_inputs.push_back({.path = path, .folder = path});
        else
            m_inputs.push_back(file_input(path));
        if (m_inputs.back().file.path.empty())
            find_logs(path); // fails now rather than later
    }
}

LogInputs::Input LogInputs::file_input(const std::string& path)
{
    Input input{.path = path};
    const size_t name = path.find_last_of("/\\") + 1; // 0 if there is no separator
    if (parse_log_name(std::string_view(path).substr(name), input.file))
        input.folder = name == 0 ? "." : path.substr(0, name > 1 ? name - 1 : name);
    input.file.path = input.folder.empty() ? path : input.folder + "\\" + path.substr(name);
    const LogFile opened(input.file); // fails if it can't be read
    if (!input.folder.empty())
        for (const LogName& other : find_logs(input.folder))
            if (other.path != input.file.path)
                input.passed.insert(identity(other));
    return input;
}

std::vector<LogInputs::Found> LogInputs::find(std::string& problem) const
{
    std::vector<Found> all;
    std::set<std::string> paths;
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
            if (paths.insert(name.path).second)
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

#include "module_search.h"

#include "kernel32/file/path.h"
#include "program_file.h"
#include "system/calls.h"
#include "system/environment.h"

namespace platform
{

namespace
{

constexpr char extension[] = ".dll";
constexpr size_t extension_length = sizeof extension - 1;

bool ends_in_extension(const std::string& name)
{
    if (name.size() <= extension_length)
        return false;
    for (size_t i = 0; i < extension_length; ++i)
    {
        const char c = name[name.size() - extension_length + i];
        if ((c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c) != extension[i])
            return false;
    }
    return true;
}

bool is_file(const std::string& path)
{
    struct stat found;
    return sys::stat(path.c_str(), &found) == 0 && !S_ISDIR(found.st_mode);
}

std::string program_folder()
{
    const std::string whole = program_path();
    return whole.substr(0, whole.rfind('/') + 1);
}

// Makes a relative folder absolute by the current folder, which may change while the module stays
// loaded.
std::string absolute(const std::string& folder)
{
    char current[native_path_limit];
    if (folder.starts_with('/') || !sys::getcwd(current, sizeof current))
        return folder;
    return std::string(current) + "/" + folder;
}

// The caller chooses the current folder: a program with more rights loads no code from it.
std::vector<std::string> bare_name_folders()
{
    std::vector<std::string> folders{program_folder()};
    if (!has_more_rights())
        folders.push_back(absolute(""));
    return folders;
}

} // namespace

std::vector<std::string> module_file_names(const std::string& name)
{
    std::string whole = name;
    if (whole.find('.') == std::string::npos)
        whole += extension;
    else if (whole.back() == '.')
        whole.pop_back();
    std::vector<std::string> names{whole};
    if (ends_in_extension(whole))
    {
        const std::string base = whole.substr(0, whole.size() - extension_length);
        names.push_back("lib" + base + ".so");
        names.push_back(base + ".so");
    }
    return names;
}

std::vector<std::string> find_module_files(const std::string& native)
{
    const size_t slash = native.rfind('/');
    const bool bare = slash == std::string::npos;
    const std::vector<std::string> names =
        module_file_names(bare ? native : native.substr(slash + 1));
    const std::vector<std::string> folders =
        bare ? bare_name_folders()
             : std::vector<std::string>{absolute(native.substr(0, slash + 1))};
    for (const std::string& folder : folders)
        for (const std::string& name : names)
            if (is_file(folder + name))
                return {folder + name};
    return bare ? names : std::vector<std::string>();
}

} // namespace platform

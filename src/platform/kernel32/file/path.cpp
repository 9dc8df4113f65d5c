// The Windows form of native paths, and the current folder.
#include "path.h"

#include "drives.h"
#include "file_status.h"
#include "system/calls.h"

namespace platform
{

bool is_current_folder(const struct stat& found)
{
    struct stat current;
    return S_ISDIR(found.st_mode) && sys::stat(".", &current) == 0 && is_same_file(found, current);
}

std::string windows_path(std::string_view native)
{
    const Drive& drive = drive_of(native);
    std::string result{drive.letter, ':'};
    result += native.substr(drive.root.size());
    if (result.size() == 2)
        result += '/';
    for (char& c : result)
        if (c == '/')
            c = '\\';
    return result;
}

} // namespace platform

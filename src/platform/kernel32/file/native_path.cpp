// Converts Windows paths to native ones.
#include "native_path.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <utility>

#include "drives.h"
#include "plinth_platform.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/text.h"
#include "winerror.h"

namespace platform
{

namespace
{

// Only one drive has a current folder of its own: the one with the process's current folder.
bool has_current_folder(const Drive& drive)
{
    char current[native_path_limit];
    return sys::getcwd(current, sizeof current) && drive_of(current).root == drive.root;
}

bool is_letter(wchar_t c)
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

enum class Sign : unsigned char
{
    none, // of most characters
    separator,
    dot,
    refused
};

using SignTable = std::array<Sign, 256>;

constexpr SignTable make_sign_table()
{
    SignTable table{};
    for (unsigned c = 0; c < table.size(); ++c)
        if (is_refused_in_names(c))
            table[c] = Sign::refused;
    table['/'] = table['\\'] = Sign::separator;
    table['.'] = Sign::dot;
    return table;
}

constexpr SignTable sign_table = make_sign_table();

struct Signs
{
    bool has_dots = false;   // at the beginning of a level
    bool is_suspect = false; // a name may be invalid
};

// Turns all separators into slashes, and finds out whether there are dots to remove or names to
// check. Every opening of a file calls this, so most characters cost one look-up in the table.
Signs take_signs(char* text, size_t length, size_t root)
{
    Signs signs;
    size_t start = 0; // of the name
    for (size_t i = 0; i < length; ++i)
    {
        const Sign sign = sign_table[static_cast<unsigned char>(text[i])];
        if (sign == Sign::none)
            continue;
        if (sign == Sign::separator)
        {
            text[i] = '/';
            signs.is_suspect |= i - start > NAME_MAX;
            start = i + 1;
        }
        signs.has_dots |= sign == Sign::dot && i >= root && (i == root || text[i - 1] == '/');
        signs.is_suspect |= sign == Sign::refused;
    }
    signs.is_suspect |= length - start > NAME_MAX;
    return signs;
}

// The native path without separators at its end.
std::string_view without_separators(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

// The kind of entry that a path names, without the separators at its end.
enum class Named
{
    folder,
    other,
    nothing, // but its folder is there
    unknown,
};

Named what_is_named(std::string_view native_path)
{
    char path[native_path_limit];
    const std::string_view bare = without_separators(native_path);
    std::memcpy(path, bare.data(), bare.size());
    path[bare.size()] = '\0';
    struct stat found;
    if (sys::stat(path, &found) == 0)
        return S_ISDIR(found.st_mode) ? Named::folder : Named::other;
    if (errno != ENOENT)
        return Named::unknown;
    return sys::lstat(path, &found) == 0 ? Named::other : Named::nothing; // a link without a target
}

// Removes "." and ".." from a path after its root. It works on the text alone, without reading
// folders: on the system, links don't affect the levels of a path. Returns the new length.
size_t collapse(char* text, size_t length, size_t root)
{
    size_t written = root;
    for (size_t at = root; at < length;)
    {
        const char* const slash =
            static_cast<const char*>(std::memchr(text + at, '/', length - at));
        const size_t end = slash ? static_cast<size_t>(slash - text) : length;
        const std::string_view level(text + at, end - at);
        const size_t next = slash ? end + 1 : length;
        std::string_view before(text + root, written - root);
        if (level == ".." && !before.empty() && before != "../" && !before.ends_with("/../"))
        {
            before.remove_suffix(1);
            written = root + before.rfind('/') + 1; // 0 if there is none
        }
        else if (level == ".." ? root == 0 : !level.empty() && level != ".")
        {
            std::memmove(text + written, text + at, next - at);
            written += next - at;
        }
        at = next;
    }
    const bool ends_in_dots = text[length - 1] == '.' && written < length;
    if (ends_in_dots && written > root && text[written - 1] == '/')
        --written;
    if (written == 0)
        text[written++] = '.';
    return written;
}

} // namespace

NativePath::NativePath(const wchar_t* path, Names names)
{
    m_text[0] = '\0';
    try
    {
        convert(path, names);
    }
    catch (const std::exception& exception)
    {
        m_ok = failed_by(exception, false);
    }
}

void NativePath::convert(const wchar_t* path, Names names)
{
    if (!path || !*path)
    {
        fail_with(ERROR_PATH_NOT_FOUND);
        return;
    }
    if (is_separator(path[0]) && is_separator(path[1]))
    {
        // "\\?\C:\..." is the long form of an ordinary path; servers and shares don't exist here.
        if (path[2] != L'?' || !is_separator(path[3]) || !is_letter(path[4]) || path[5] != L':')
        {
            fail_with(ERROR_PATH_NOT_FOUND);
            return;
        }
        path += 4;
    }

    size_t length = 0;
    size_t root = 0; // bytes of the root, which no ".." removes
    if (is_letter(path[0]) && path[1] == L':')
    {
        const Drive* const drive = find_drive(path[0]);
        if (!drive || drive->root.size() + 2 > sizeof m_text)
        {
            fail_with(ERROR_PATH_NOT_FOUND);
            return;
        }
        path += 2;
        const bool is_relative = !is_separator(*path) && has_current_folder(*drive);
        if (!is_relative)
        {
            std::memcpy(m_text, drive->root.data(), drive->root.size());
            length = drive->root.size();
            m_text[length++] = '/';
            root = length;
        }
        while (is_separator(*path))
            ++path;
    }
    else if (is_separator(path[0]))
        root = 1;

    size_t written = 0;
    const size_t units = wide_length(path);
    const size_t room = sizeof m_text - 1 - length;
    if (utf8_from_wide(path, units, m_text + length, room, &written) > room)
    {
        fail_with(ERROR_FILENAME_EXCED_RANGE);
        return;
    }
    length += written;
    if (length == 0)
        m_text[length++] = '.'; // the drive alone
    const Signs signs = take_signs(m_text, length, root);
    if (signs.has_dots)
        length = collapse(m_text, length, root);
    m_text[length] = '\0';
    m_separator = length > 1 && m_text[length - 1] == '/';
    m_ok = !signs.is_suspect || names == Names::any || judge(root);
}

// A name that is too long or has characters that the system refuses is not created. A file that
// another program made under such a name can be opened: the path is looked up as far as its last
// such name. Usual paths need no look-up.
bool NativePath::judge(size_t root)
{
    size_t end = 0; // of the last invalid name
    for (size_t at = root; m_text[at] != '\0';)
    {
        const size_t length = std::strcspn(m_text + at, "/");
        const std::string_view name(m_text + at, length);
        at += length;
        if (length > NAME_MAX ||
            std::ranges::any_of(name, [](unsigned char c) { return is_refused_in_names(c); }))
            end = at;
        at += m_text[at] == '/';
    }
    if (end == 0)
        return true;
    struct stat found;
    const char after = std::exchange(m_text[end], '\0');
    const bool exists = sys::lstat(m_text, &found) == 0;
    m_text[end] = after;
    return exists || fail_with(ERROR_INVALID_NAME);
}

DWORD NativePath::not_found_error() const
{
    const std::string_view parent = without_separators(m_text);
    const size_t slash = parent.rfind('/');
    if (slash == std::string_view::npos || slash == 0)
        return ERROR_FILE_NOT_FOUND;
    try
    {
        struct stat found;
        const std::string folder(parent.substr(0, slash));
        if (sys::stat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode))
            return ERROR_FILE_NOT_FOUND;
        return ERROR_PATH_NOT_FOUND;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, DWORD{ERROR_NOT_ENOUGH_MEMORY});
    }
}

BOOL NativePath::fail(int error, Context context) const
{
    if (error == ENOENT)
        return fail_with(not_found_error());
    if (m_separator && (error == ENOTDIR || error == EISDIR))
    {
        const Named named = what_is_named(m_text);
        if (named == Named::other || named == Named::nothing)
            return fail_with(ERROR_INVALID_NAME);
    }
    return fail_with(system_error(error, context));
}

BOOL NativePath::fail_as_folder(int error) const
{
    return error == ENOTDIR ? fail_with(no_folder_error(m_text)) : fail(error);
}

DWORD no_folder_error(const char* native_path)
{
    return what_is_named(native_path) == Named::other ? ERROR_DIRECTORY : ERROR_PATH_NOT_FOUND;
}

} // namespace platform

// The exported function, for programs that print paths.
DWORD WINAPI PlinthNativePath(LPCWSTR path, LPSTR buffer, DWORD size)
{
    const platform::NativePath native(path);
    if (!native.ok())
        return 0;
    const size_t length = std::strlen(native.c_str());
    if (!buffer || length >= size)
    {
        platform::fail_with(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(buffer, native.c_str(), length + 1);
    return static_cast<DWORD>(length);
}

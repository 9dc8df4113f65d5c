// Directory searches.
//
// The names are read at once and returned in the order of the native file system: by their folded
// characters, without a locale. Only the first name is searched for; the rest are sorted when a
// second one is asked for, so that taking only the oldest of many files avoids sorting. The status
// of an entry is read when it is returned; an entry deleted by then is skipped.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "file_attributes.h"
#include "file_stamp.h"
#include "kernel32/object/handle_table.h"
#include "native_path.h"
#include "path.h"
#include "search_mask.h"
#include "system/calls.h"
#include "system/directory.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr size_t name_limit = MAX_PATH; // characters, terminator included

// A name as it was found, in 16 bits, and in 16 bits folded. All names of a search share two
// buffers, so that thousands of names need few allocations and are compared in place. Each has a
// terminator.
struct Entry
{
    size_t native;
    size_t wide; // the name; its folded form follows its terminator
    size_t units;
};

class Names
{
public:
    // Adds the name if it has less than name_limit units in 16 bits and matches the mask, if there
    // is one.
    void add(const char* native, SearchMask* mask)
    {
        wchar_t name[name_limit];
        const size_t bytes = std::strlen(native);
        size_t written = 0;
        if (wide_from_utf8(native, bytes, name, name_limit - 1, &written) != written)
            return;
        name[written] = L'\0';
        if (mask && !mask->matches(name))
            return;
        const Entry entry{m_native.size(), m_wide.size(), written};
        m_native.append(native, bytes + 1);
        m_wide.append(reinterpret_cast<const char16_t*>(name), written + 1);
        for (size_t i = 0; i <= written; ++i)
            name[i] = fold_case(name[i]);
        m_wide.append(reinterpret_cast<const char16_t*>(name), written + 1);
        m_entries.push_back(entry);
    }

    // The next name in order, null at the end. Valid as long as the object.
    const Entry* next()
    {
        if (m_next == m_entries.size())
            return nullptr;
        const auto from = m_entries.begin() + static_cast<ptrdiff_t>(m_next);
        const auto before = [this](const Entry& a, const Entry& b) { return in_order(a, b); };
        if (m_next == 0)
            std::iter_swap(from, std::min_element(from, m_entries.end(), before));
        else if (m_next == 1)
            std::sort(from, m_entries.end(), before);
        return &m_entries[m_next++];
    }

    const char* native(const Entry& entry) const { return m_native.c_str() + entry.native; }
    const char16_t* wide(const Entry& entry) const { return m_wide.c_str() + entry.wide; }

private:
    bool in_order(const Entry& a, const Entry& b) const
    {
        const int difference = folded(a).compare(folded(b));
        return difference != 0 ? difference < 0 : std::strcmp(native(a), native(b)) < 0;
    }
    std::u16string_view folded(const Entry& entry) const
    {
        return {wide(entry) + entry.units + 1, entry.units};
    }

    std::string m_native;
    std::u16string m_wide;
    std::vector<Entry> m_entries;
    size_t m_next = 0;
};

class SearchObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::search;

    explicit SearchObject(std::string folder) : Object(object_kind), m_folder(std::move(folder)) {}

    // 0 or a system error.
    DWORD read(SearchMask mask)
    {
        Directory directory(m_folder.empty() ? "." : m_folder.c_str());
        if (!directory)
            return errno == ENOENT    ? ERROR_PATH_NOT_FOUND
                   : errno == ENOTDIR ? no_folder_error(m_folder.c_str())
                                      : system_error(errno);
        errno = 0;
        while (const dirent* found = directory.next())
        {
            m_names.add(found->d_name, &mask);
            errno = 0;
        }
        return errno ? system_error(errno) : 0;
    }

    // A name without wildcards is looked up, not searched for.
    void take_one(const wchar_t* name) { m_names.add(to_utf8(name).c_str(), nullptr); }

    // Fills data with the next entry that is still there. False at the end.
    bool next(WIN32_FIND_DATAW& data)
    {
        while (const Entry* const entry = m_names.next())
            if (describe(*entry, data))
                return true;
        return false;
    }

private:
    std::string path_of(const Entry& entry) const
    {
        if (m_folder.empty() || m_folder.back() == '/')
            return m_folder + m_names.native(entry);
        return m_folder + "/" + m_names.native(entry);
    }

    bool describe(const Entry& entry, WIN32_FIND_DATAW& data) const
    {
        const std::string path = path_of(entry);
        struct statx found;
        constexpr unsigned wanted = STATX_BASIC_STATS | STATX_BTIME;
        if (sys::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, wanted, &found) != 0)
            return false;
        // A link shows the status of its target; one without a target shows its own.
        const bool is_link = S_ISLNK(found.stx_mode);
        struct statx target;
        if (is_link && sys::statx(AT_FDCWD, path.c_str(), 0, wanted, &target) == 0)
            found = target;
        FILETIME kept;
        const bool has_kept =
            sys::getxattr(path.c_str(), creation_attribute, &kept, sizeof kept) == sizeof kept;
        const FileStamps stamps = stamps_of(found, has_kept ? &kept : nullptr);
        data = {};
        data.dwFileAttributes = attributes_of(found.stx_mode, is_link);
        data.ftCreationTime = stamps.creation;
        data.ftLastAccessTime = stamps.access;
        data.ftLastWriteTime = stamps.write;
        if (!S_ISDIR(found.stx_mode))
        {
            data.nFileSizeHigh = static_cast<DWORD>(found.stx_size >> 32);
            data.nFileSizeLow = static_cast<DWORD>(found.stx_size);
        }
        std::copy_n(m_names.wide(entry), entry.units + 1, data.cFileName);
        return true;
    }

    std::string m_folder; // native; empty for the current directory
    Names m_names{};
};

// Splits a pattern into the native folder and the mask. The mask is empty if the pattern is a drive
// without a separator, which names the drive's current folder. False with the last error set. A
// separate function, so that its path has left the stack before the folder is read.
[[gnu::noinline]] bool split_pattern(const wchar_t* pattern, std::string& folder,
                                     const wchar_t*& mask)
{
    if (!pattern || !*pattern)
        return fail_with(ERROR_PATH_NOT_FOUND);
    mask = pattern;
    for (const wchar_t* at = pattern; *at; ++at)
        if (is_separator(*at) || (*at == L':' && at == pattern + 1))
            mask = at + 1;
    if (!*mask)
        return mask[-1] == L':' || fail_with(ERROR_FILE_NOT_FOUND);
    if (mask == pattern)
        return true;
    const std::basic_string<char16_t> head(reinterpret_cast<const char16_t*>(pattern),
                                           static_cast<size_t>(mask - pattern));
    const NativePath native(reinterpret_cast<const wchar_t*>(head.c_str()));
    if (!native.ok())
        return false;
    folder = native.c_str();
    return true;
}

// "." and ".." at the end, and a drive alone, are found under the folder's real name: the pattern
// is replaced by the full path. False with the last error set.
[[gnu::noinline]] bool name_dots(const wchar_t*& pattern, std::basic_string<char16_t>& full)
{
    full.resize(native_path_limit);
    const DWORD length = GetFullPathNameW(pattern, native_path_limit,
                                          reinterpret_cast<wchar_t*>(full.data()), nullptr);
    if (length == 0 || length >= native_path_limit)
        return false;
    pattern = reinterpret_cast<const wchar_t*>(full.c_str());
    return true;
}

bool needs_name(const wchar_t* mask)
{
    return !mask[0] || (mask[0] == L'.' && (!mask[1] || (mask[1] == L'.' && !mask[2])));
}

bool can_be_searched_for(const wchar_t* mask)
{
    return std::none_of(mask, mask + wide_length(mask),
                        [](wchar_t c) { return is_refused_in_names(c) && c != L'*' && c != L'?'; });
}

// A separate function, so that a search with a result has no path on the stack.
[[gnu::noinline]] DWORD not_found_error(const wchar_t* path)
{
    const NativePath native(path);
    return native.ok() ? native.not_found_error() : GetLastError();
}

HANDLE start_search(const wchar_t* pattern, WIN32_FIND_DATAW& data)
{
    std::string folder;
    const wchar_t* mask = nullptr;
    std::basic_string<char16_t> full;
    if (!split_pattern(pattern, folder, mask) ||
        (needs_name(mask) && !(name_dots(pattern, full) && split_pattern(pattern, folder, mask))))
        return INVALID_HANDLE_VALUE;
    if (has_wildcard(mask) && !can_be_searched_for(mask))
    {
        fail_with(ERROR_INVALID_NAME);
        return INVALID_HANDLE_VALUE;
    }
    auto search = std::make_unique<SearchObject>(folder);
    if (has_wildcard(mask))
    {
        if (const DWORD error = search->read(SearchMask(mask)))
        {
            fail_with(error);
            return INVALID_HANDLE_VALUE;
        }
    }
    else
        search->take_one(mask);
    if (!search->next(data))
    {
        fail_with(has_wildcard(mask) ? ERROR_FILE_NOT_FOUND : not_found_error(pattern));
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle = insert_handle(search.release());
    return handle ? handle : INVALID_HANDLE_VALUE;
}

} // namespace

extern "C" HANDLE FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data)
{
    try
    {
        return start_search(pattern, *data);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, INVALID_HANDLE_VALUE);
    }
}

extern "C" BOOL FindNextFileW(HANDLE search, LPWIN32_FIND_DATAW data)
{
    const Pin<SearchObject> object(search);
    if (!object)
        return FALSE;
    try
    {
        return object->next(*data) ? TRUE : fail_with(ERROR_NO_MORE_FILES);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL FindClose(HANDLE search)
{
    return close_handle(search, ObjectKind::search);
}

#include "cursor.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "interruption.h"
#include "log_files.h"
#include "text.h"

namespace trace
{

namespace
{

constexpr uint64_t most_bytes = 1 << 30; // no cursor is longer

constexpr Time day = Time{24} * 60 * 60 * second;

[[noreturn]] void refuse(const std::string& path, const std::string& why)
{
    throw Failure(exit_failed, "the cursor " + path + " " + why);
}

} // namespace

bool is_missing(const std::string& path)
{
    return GetFileAttributesW(wide_from_utf8(path).data()) == INVALID_FILE_ATTRIBUTES &&
           GetLastError() == ERROR_FILE_NOT_FOUND;
}

Cursor::Cursor(std::string path, std::vector<std::string> inputs)
    : m_path(std::move(path)), m_inputs(std::move(inputs))
{
    lock();
    try
    {
        if (!is_missing(m_path))
            read();
        else if (const std::string problem = save(); !problem.empty())
            throw Failure(exit_failed, problem);
    }
    catch (const Failure&)
    {
        CloseHandle(m_lock);
        throw;
    }
}

Cursor::~Cursor()
{
    CloseHandle(m_lock);
}

// Two exports that share a cursor would each take the other's progress for their own. A file beside
// the cursor is locked, because the cursor itself is replaced.
void Cursor::lock()
{
    m_lock = CreateFileW(wide_from_utf8(m_path + ".lock").data(), GENERIC_READ | GENERIC_WRITE, 0,
                         nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_lock != INVALID_HANDLE_VALUE)
        return;
    const DWORD error = GetLastError();
    end_if_interrupted();
    if (error == ERROR_SHARING_VIOLATION)
        refuse(m_path, "is in use by another export; each needs a cursor of its own");
    refuse(m_path,
           "can't be locked by the file beside it, " + m_path + ".lock: " + error_text(error));
}

void Cursor::read()
{
    if (!regular_file_id(wide_from_utf8(m_path)))
        refuse(m_path, "is no regular file");
    LogName name;
    name.path = m_path;
    const LogFile file(name);
    const uint64_t size = file.size();
    std::string text(static_cast<size_t>(size <= most_bytes ? size : 0), '\0');
    text.resize(file.read_at(0, text.data(), text.size()));
    std::vector<std::string> inputs;
    const CursorState state = parse_cursor(text, inputs, m_entries);
    if (state == CursorState::later)
        refuse(m_path, "was made by a later version of plinth-trace; nothing was exported");
    if (state == CursorState::damaged)
        refuse(m_path, "is damaged or no cursor; nothing was exported. Without the file the export "
                       "begins with the first record");
    if (inputs != m_inputs)
    {
        std::string of;
        for (const std::string& input : inputs)
            of += (of.empty() ? "" : ", ") + input;
        refuse(m_path, "belongs to an export of " + of + "; nothing was exported");
    }
    for (const auto& [path, entry] : m_entries)
        if (entry.progress.last < current_time() + day) // ignores a wrong clock
            m_newest = std::max(m_newest, entry.progress.last);
    m_is_saved = true;
}

std::vector<std::string> Cursor::take_vanished()
{
    std::vector<std::string> vanished;
    for (const auto& [path, entry] : m_entries)
        if (is_missing(path) && was_in_use(entry))
            vanished.push_back(path);
    forget_missing_but({});
    return vanished;
}

// A log whose last record is more than a day older than the newest exported one counts as complete:
// programs remove such logs when they are old enough.
bool Cursor::was_in_use(const CursorEntry& entry) const
{
    const Time last = entry.progress.last;
    return last == unknown_time || m_newest == unknown_time || last >= m_newest - day;
}

void Cursor::forget(const std::string& path)
{
    if (m_entries.erase(path) > 0)
        m_is_saved = false;
}

void Cursor::forget_missing_but(const std::set<std::string>& kept)
{
    if (std::erase_if(m_entries, [&kept](const auto& entry)
                      { return !kept.contains(entry.first) && is_missing(entry.first); }) > 0)
        m_is_saved = false;
}

void Cursor::update(const CursorChanges& changes)
{
    for (const auto& [path, entry] : changes)
    {
        if (!entry)
        {
            forget(path);
            continue;
        }
        CursorEntry& known = m_entries[path];
        m_is_saved = m_is_saved && known == *entry;
        known = *entry;
    }
}

std::string Cursor::save()
{
    const std::string fresh = m_path + ".new";
    std::string problem = write(fresh, cursor_text(m_inputs, m_entries));
    if (problem.empty() && !MoveFileExW(wide_from_utf8(fresh).data(), wide_from_utf8(m_path).data(),
                                        MOVEFILE_REPLACE_EXISTING))
        problem = "the cursor " + m_path + " can't be replaced: " + error_text(GetLastError());
    if (!problem.empty())
        DeleteFileW(wide_from_utf8(fresh).data());
    m_is_saved = problem.empty();
    return problem;
}

std::string Cursor::write(const std::string& path, const std::string& text) const
{
    const WideText name = wide_from_utf8(path);
    DeleteFileW(name.data()); // left by an export that was killed
    const HANDLE file = CreateFileW(name.data(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD done = 0;
    DWORD error = ERROR_SUCCESS;
    if (file == INVALID_HANDLE_VALUE ||
        !WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr))
        error = GetLastError();
    else if (done != text.size())
        error = ERROR_DISK_FULL;
    else if (!FlushFileBuffers(file))
        error = GetLastError();
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    return error == ERROR_SUCCESS
               ? std::string()
               : "the cursor " + m_path + " can't be written: " + error_text(error);
}

} // namespace trace

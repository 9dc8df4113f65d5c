#include "log_files.h"

#include <algorithm>
#include <array>

#include <shlobj.h>

#include "failure.h"
#include "interruption.h"

namespace trace
{

namespace
{

constexpr size_t block_size = 64 << 10;

constexpr uint64_t clock_slack = 5ull * 60 * 10'000'000; // 5 minutes

uint64_t joined(const FILETIME& time)
{
    return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

bool is_number(std::string_view text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

Time file_time(uint64_t written)
{
    constexpr Time per_microsecond = 10;
    constexpr Time epoch = 11'644'473'600 * second; // 1601 to 1970
    return static_cast<Time>(written) / per_microsecond - epoch;
}

bool parse_log_name(std::string_view name, LogName& result)
{
    constexpr std::string_view base = "qvapp_";
    constexpr std::string_view extension = ".log";
    if (!name.starts_with(base) || !name.ends_with(extension))
        return false;
    name.remove_prefix(base.size());
    if (name.size() < 10 + extension.size())
        return false;
    const std::string_view date = name.substr(0, 10);
    std::string_view number = name.substr(10, name.size() - 10 - extension.size());
    if (!is_number(date.substr(0, 4)) || date[4] != '-' || !is_number(date.substr(5, 2)) ||
        date[7] != '-' || !is_number(date.substr(8, 2)))
        return false;
    result.date = date;
    result.number = 0;
    if (number.empty())
        return true;
    if (!number.starts_with("_(") || !number.ends_with(')'))
        return false;
    number = number.substr(2, number.size() - 3);
    if (!is_number(number) || number.size() > 9)
        return false;
    for (const char digit : number)
        result.number = result.number * 10 + static_cast<uint64_t>(digit - '0');
    return true;
}

std::string default_log_folder()
{
    wchar_t folder[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder) != S_OK)
        throw Failure(exit_failed, "the common application data folder can't be found");
    return utf8_from_wide(folder) + "\\Quorvane\\Platform\\Logfiles";
}

void sort_by_age(std::vector<LogName>& logs, uint64_t now)
{
    const auto written = [now](const LogName& log)
    { return log.written > now + clock_slack ? 0 : std::min(log.written, now); };
    std::sort(logs.begin(), logs.end(),
              [&](const LogName& a, const LogName& b)
              {
                  const uint64_t of_a = written(a), of_b = written(b);
                  return of_a != of_b ? of_a < of_b : a < b;
              });
}

std::vector<LogName> find_logs(const std::string& folder)
{
    std::vector<LogName> logs;
    WIN32_FIND_DATAW entry;
    const WideText pattern = wide_from_utf8(folder + "\\qvapp_*.log");
    const HANDLE search = FindFirstFileW(pattern.data(), &entry);
    if (search == INVALID_HANDLE_VALUE)
    {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
            error == ERROR_NO_MORE_FILES)
            return logs;
        throw Failure(exit_failed, "the log folder " + native_path(wide_from_utf8(folder).data()) +
                                       " can't be read: " + error_text(error));
    }
    do
    {
        LogName log;
        const std::string name = utf8_from_wide(entry.cFileName);
        if (!parse_log_name(name, log))
            continue;
        log.path = folder + "\\" + name;
        log.written = joined(entry.ftLastWriteTime);
        log.created = joined(entry.ftCreationTime);
        log.size = uint64_t{entry.nFileSizeHigh} << 32 | entry.nFileSizeLow;
        if (const std::optional<FileId> id = regular_file_id(wide_from_utf8(log.path)))
        {
            log.id = *id;
            logs.push_back(std::move(log));
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    sort_by_age(logs, joined(now));
    return logs;
}

LogFile::LogFile(const LogName& name) : m_name(name)
{
    const WideText path = wide_from_utf8(name.path);
    if (!regular_file_id(path) && GetLastError() == ERROR_SUCCESS)
        throw Failure(exit_failed,
                      native_path(path.data()) +
                          " is no regular file, and only such a file is a log; --input "
                          "- reads lines from standard input");
    // A pipe may have replaced the file since the check. Opening a pipe waits for a writer, until
    // the user ends the program.
    m_file = CreateFileW(path.data(), GENERIC_READ,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file != INVALID_HANDLE_VALUE)
        return;
    const DWORD error = GetLastError();
    end_if_interrupted();
    throw Failure(exit_failed, "the log file " + native_path(path.data()) +
                                   " can't be opened: " + error_text(error));
}

LogFile::~LogFile()
{
    CloseHandle(m_file);
}

uint64_t LogFile::size() const
{
    DWORD high = 0;
    const DWORD low = GetFileSize(m_file, &high);
    return uint64_t{high} << 32 | low;
}

size_t LogFile::read_at(uint64_t offset, char* buffer, size_t size) const
{
    LONG high = static_cast<LONG>(offset >> 32);
    DWORD done = 0;
    SetLastError(ERROR_SUCCESS);
    if ((SetFilePointer(m_file, static_cast<LONG>(offset & 0xffffffff), &high, FILE_BEGIN) ==
             INVALID_SET_FILE_POINTER &&
         GetLastError() != ERROR_SUCCESS) ||
        !ReadFile(m_file, buffer, static_cast<DWORD>(size), &done, nullptr))
        throw Failure(exit_failed, "the log file " +
                                       native_path(wide_from_utf8(m_name.path).data()) +
                                       " can't be read: " + error_text(GetLastError()));
    return done;
}

bool LogFile::is_wide() const
{
    char mark[2];
    return read_at(0, mark, sizeof mark) == 2 && mark[0] == '\xff' && mark[1] == '\xfe';
}

void LogFile::seek_last_lines(uint64_t lines)
{
    const uint64_t there = size();
    if (there == 0)
    {
        m_offset = 0; // a program has just made it
        return;
    }
    const uint64_t unit = is_wide() ? 2 : 1;
    const uint64_t end = there / unit * unit;
    std::vector<char> block(block_size);
    uint64_t block_start = end; // the range that the block holds
    size_t block_length = 0;

    // Reads backwards block by block; unit divides the size of a block.
    const auto previous_line_end = [&](uint64_t before)
    {
        uint64_t at = before;
        while (at > 0)
        {
            if (at <= block_start || at > block_start + block_length)
            {
                block_start = (at - 1) / block_size * block_size;
                block_length =
                    read_at(block_start, block.data(), static_cast<size_t>(at - block_start));
                if (at > block_start + block_length)
                    return uint64_t{0}; // the file became shorter
            }
            at -= unit;
            const char* const c = block.data() + (at - block_start);
            if (c[0] == '\n' && (unit == 1 || c[1] == 0))
                return at + unit;
        }
        return uint64_t{0};
    };
    m_offset = end;
    if (lines > 0 && previous_line_end(end) == end)
        m_offset -= unit; // no line begins after the last line end
    for (uint64_t i = 1; i <= lines && m_offset > 0; ++i)
    {
        m_offset = previous_line_end(m_offset);
        if (i < lines && m_offset > 0)
            m_offset -= unit;
    }
}

std::string LogFile::read()
{
    std::vector<char> block(block_size);
    size_t length = read_at(m_offset, block.data(), block.size());
    if (length == 0 && size() < m_offset)
    {
        m_offset = 0;
        length = read_at(m_offset, block.data(), block.size());
    }
    if (length == 0)
        return {};
    if (!is_wide())
    {
        // Doesn't split a line end, nor a character below.
        if (block[length - 1] == '\r')
            --length;
        m_offset += length;
        std::string out;
        out.reserve(length);
        for (size_t i = 0; i < length; ++i)
            append_utf8(out, static_cast<unsigned char>(block[i]));
        return out;
    }

    const bool at_mark = m_offset == 0;
    WideText units;
    units.reserve(length / 2);
    for (size_t i = at_mark ? 2 : 0; i + 1 < length; i += 2)
        units.push_back(static_cast<wchar_t>(static_cast<unsigned char>(block[i]) |
                                             static_cast<unsigned char>(block[i + 1]) << 8));
    length &= ~size_t{1};
    if (!units.empty() && ((units.back() & 0xfc00) == 0xd800 || units.back() == '\r'))
    {
        units.pop_back();
        length -= 2;
    }
    m_offset += length;
    return utf8_from_wide(units.data(), units.size());
}

} // namespace trace

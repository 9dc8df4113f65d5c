// The log files of a folder: their list, the newest one, and their text.
//
// The names are qvapp_YYYY-MM-DD.log and qvapp_YYYY-MM-DD_(NNNN).log; a file is ANSI (one byte for
// each character, its low byte) or, beginning with FF FE, UTF-16.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "record_time.h"
#include "regular_file.h"
#include "text.h"

namespace trace
{

struct LogName
{
    std::string date; // YYYY-MM-DD
    uint64_t number = 0;
    std::string path;     // UTF-8, as the Windows interface takes it
    uint64_t written = 0; // time of the last writing, as a FILETIME; 0 if unknown
    uint64_t created = 0; // time of creation, likewise
    uint64_t size = 0;    // bytes, when it was found
    FileId id{};

    // Compares by name: a later day, or on the same day a higher number, comes later.
    friend std::strong_ordering operator<=>(const LogName& a, const LogName& b)
    {
        return std::tie(a.date, a.number, a.path) <=> std::tie(b.date, b.number, b.path);
    }
    friend bool operator==(const LogName& a, const LogName& b) { return (a <=> b) == 0; }
};

// Converts a FILETIME.
Time file_time(uint64_t written);

// Reads the date and number of a log file's name; path stays empty. False for any other name.
bool parse_log_name(std::string_view name, LogName& result);

// The folder of programs that have named no folder of their own: no separator at the end.
std::string default_log_folder();

// Sorts the logs so that the one written last is at the end; equal ones are sorted by name.
//
// Names alone are not enough: a wrong clock makes a date in the future, and the numbers of a day
// begin again after 9999. A time of writing that is later than now was taken from a wrong clock,
// too: if it is a little later, as on a network drive, it counts as now, otherwise as the oldest.
void sort_by_age(std::vector<LogName>& logs, uint64_t now);

// The log files of the folder, sorted by age; none if there is no such folder. Folders, pipes and
// other objects with such a name are not log files.
std::vector<LogName> find_logs(const std::string& folder);

// One log file, open for reading. Programs may continue to write to it, and may remove it.
class LogFile
{
public:
    // Fails if it is no regular file or can't be opened; throws Interrupted if the user has ended
    // the program meanwhile.
    explicit LogFile(const LogName& name);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    const LogName& name() const { return m_name; }

    // Moves to the beginning of the last `lines` lines.
    void seek_last_lines(uint64_t lines);

    // The next part of the text as UTF-8, empty at the end; later there may be more. If the file
    // has become shorter than the part that was read, it is read from its start.
    std::string read();

    // Returns the number of bytes read from this place: fewer than size only at the end. Fails if
    // reading fails.
    size_t read_at(uint64_t offset, char* buffer, size_t size) const;
    uint64_t size() const;
    std::optional<FileId> id() const { return open_file_id(m_file); }
    // Call it when the file is known to have content: a file that was empty before may have its
    // mark by now.
    bool is_wide() const;

private:
    LogName m_name;
    HANDLE m_file;
    uint64_t m_offset = 0; // of the first byte that was not read yet
};

} // namespace trace

// The log files of a folder: which there are, which is the newest, and what they say.
//
// The names are qvapp_YYYY-MM-DD.log and qvapp_YYYY-MM-DD_(NNNN).log; a file is ANSI (one byte for
// each character, the low byte of it) or, beginning with FF FE, UTF-16.
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
    uint64_t written = 0; // when it was last, as a FILETIME; 0 if that isn't known
    uint64_t created = 0; // the same of its creation
    uint64_t size = 0;    // bytes, when it was found
    FileId id{};

    // Which file it is; by name: a later day, or on one day a higher number, comes later.
    friend std::strong_ordering operator<=>(const LogName& a, const LogName& b)
    {
        return std::tie(a.date, a.number, a.path) <=> std::tie(b.date, b.number, b.path);
    }
    friend bool operator==(const LogName& a, const LogName& b) { return (a <=> b) == 0; }
};

// The time that a FILETIME says.
Time file_time(uint64_t written);

// The date and number of a name that is a log file's; path stays empty. False for any other name.
bool parse_log_name(std::string_view name, LogName& result);

// Where programs log that have named no folder of their own: no separator at the end.
std::string default_log_folder();

// Puts the file that was written last at the end; of equal ones names decide.
//
// The names alone don't tell: a wrong clock gives a date in the future, and the numbers of a day
// begin again after 9999. A time of writing that is later than now was taken from a wrong clock,
// too: a little later, as on a network drive, it counts as now; further on, as the oldest.
void sort_by_age(std::vector<LogName>& logs, uint64_t now);

// The log files of the folder, sorted by age; none if there is no such folder. Folders, pipes and
// other things with such a name are no log files.
std::vector<LogName> find_logs(const std::string& folder);

// One log file, open for reading. Programs may go on writing to it, and remove it.
class LogFile
{
public:
    // Failure if it is no regular file or can't be opened, Interrupted if the user has ended that.
    explicit LogFile(const LogName& name);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    const LogName& name() const { return m_name; }

    // Moves to where the last so many lines begin.
    void seek_last_lines(uint64_t lines);

    // The next part of the text as UTF-8, empty at the end; later there may be more. A file that
    // has become shorter than what was read of it is read from its start.
    std::string read();

    // How many bytes were read from this place: fewer only at the end. Failure if that can't be
    // done.
    size_t read_at(uint64_t offset, char* buffer, size_t size) const;
    uint64_t size() const;
    std::optional<FileId> id() const { return open_file_id(m_file); }
    // To be asked when the file is known to hold something: a file that was empty before may have
    // its mark now.
    bool is_wide() const;

private:
    LogName m_name;
    HANDLE m_file;
    uint64_t m_offset = 0; // of the first byte that was not read yet
};

} // namespace trace

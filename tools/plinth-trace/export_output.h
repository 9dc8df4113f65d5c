// Where an export writes: standard output, or a file that it goes on.
//
// No part of a record is left behind if the program is killed: what is written to standard output
// at once is so little that a pipe takes all of it or nothing (a longer record than that may be
// cut), and a file whose last line was cut is gone on with in a new line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include "regular_file.h"

namespace trace
{

class ExportOutput
{
public:
    // path: of the file, UTF-8; none: standard output. largest: a file of so many bytes is renamed
    // to PATH.1, in the place of the last one, and begun anew. Failure if it can't be opened.
    ExportOutput(std::optional<std::string> path, std::optional<size_t> largest);
    ~ExportOutput();
    ExportOutput(const ExportOutput&) = delete;
    ExportOutput& operator=(const ExportOutput&) = delete;

    // A whole record, written by flush at the latest.
    void add(std::string_view record);
    size_t waiting() const { return m_waiting.size(); }
    // Fails as trace::put does.
    void flush();
    // To the disk, if it is a file. Failure if the path no longer names the file: what was written
    // is out of reach.
    void sync();

    bool is_file() const { return m_path.has_value(); }

private:
    void open();
    void write_file();
    void write_standard_output() const;
    [[noreturn]] void fail(DWORD error) const;

    const std::optional<std::string> m_path;
    const std::optional<size_t> m_largest;
    HANDLE m_file = INVALID_HANDLE_VALUE;
    std::optional<FileId> m_id;
    uint64_t m_size = 0; // of the file
    std::string m_waiting;
    std::vector<size_t> m_ends; // of the records in it
};

} // namespace trace

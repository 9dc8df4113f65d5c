// Where an export writes: standard output, a pipe, or a file that it appends to.
//
// If the program is killed, no part of a record remains in the output: each write to standard
// output or a pipe is so small that a pipe takes all of it or nothing (a longer record may be cut),
// and a file whose last line was cut is continued on a new line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include "output_pipe.h"
#include "regular_file.h"

namespace trace
{

class ExportOutput
{
public:
    // path: of the file or pipe, UTF-8; none: standard output. largest: a file of this many bytes
    // is renamed to PATH.1, replacing the previous PATH.1, and a new one is begun. Fails if it
    // can't be opened.
    ExportOutput(std::optional<std::string> path, std::optional<size_t> largest);
    ~ExportOutput();
    ExportOutput(const ExportOutput&) = delete;
    ExportOutput& operator=(const ExportOutput&) = delete;

    // record: a whole one. flush writes it at the latest.
    void add(std::string_view record);
    size_t waiting() const { return m_waiting.size(); }
    // Fails as trace::put does.
    void flush();
    // Writes a file to the disk. Fails if the path no longer names the file: users could not reach
    // what was written.
    void sync();

    // Whether it is a regular file.
    bool is_file() const { return m_path && !m_pipe; }

private:
    void open();
    void write_file();
    void write_in_parts();
    [[noreturn]] void fail(DWORD error) const;

    const std::optional<std::string> m_path;
    const std::optional<size_t> m_largest;
    std::optional<OutputPipe> m_pipe; // instead of m_file
    HANDLE m_file = INVALID_HANDLE_VALUE;
    std::optional<FileId> m_id;
    uint64_t m_size = 0; // of the file, in bytes
    std::string m_waiting;
    std::vector<size_t> m_ends; // ends of the records in m_waiting
};

} // namespace trace

#include "export_output.h"

#include <utility>

#include "failure.h"
#include "terminal.h"
#include "text.h"

namespace trace
{

ExportOutput::ExportOutput(std::optional<std::string> path, std::optional<size_t> largest)
    : m_path(std::move(path)), m_largest(largest)
{
    if (!m_path)
        return;
    if (!OutputPipe::is_named(*m_path))
        open();
    else if (m_largest)
        throw Failure(exit_failed, "--rotate needs a regular file, and " + *m_path + " is none");
    else
        m_pipe.emplace(*m_path);
}

ExportOutput::~ExportOutput()
{
    if (m_file != INVALID_HANDLE_VALUE)
        CloseHandle(m_file);
}

void ExportOutput::fail(DWORD error) const
{
    end_if_interrupted();
    throw Failure(exit_failed, *m_path + " can't be written: " + error_text(error));
}

// Opens the file at its end; if the last line is cut, starts a new one.
void ExportOutput::open()
{
    m_file = CreateFileW(wide_from_utf8(*m_path).data(), GENERIC_READ | GENERIC_WRITE,
                         FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file == INVALID_HANDLE_VALUE)
        fail(GetLastError());
    m_id = open_file_id(m_file); // later the path may name another file or none
    LONG high = 0;
    const DWORD low = SetFilePointer(m_file, 0, &high, FILE_END);
    m_size = uint64_t{static_cast<DWORD>(high)} << 32 | low;
    if (m_size == 0)
        return;
    char last = '\n';
    DWORD done = 0;
    SetFilePointer(m_file, -1, nullptr, FILE_END);
    if (!ReadFile(m_file, &last, 1, &done, nullptr))
        fail(GetLastError());
    if (last != '\n')
        add("\n");
}

void ExportOutput::add(std::string_view record)
{
    m_waiting += record;
    m_ends.push_back(m_waiting.size());
}

void ExportOutput::flush()
{
    if (!m_ends.empty())
        is_file() ? write_file() : write_in_parts();
    m_waiting.clear();
    m_ends.clear();
}

void ExportOutput::write_file()
{
    if (m_largest && m_size >= *m_largest)
    {
        sync(); // the cursor that is saved next relies on it
        CloseHandle(std::exchange(m_file, INVALID_HANDLE_VALUE));
        if (!MoveFileExW(wide_from_utf8(*m_path).data(), wide_from_utf8(*m_path + ".1").data(),
                         MOVEFILE_REPLACE_EXISTING))
            fail(GetLastError());
        open();
    }
    DWORD done = 0;
    if (!WriteFile(m_file, m_waiting.data(), static_cast<DWORD>(m_waiting.size()), &done, nullptr))
        fail(GetLastError());
    m_size += done;
    if (done != m_waiting.size())
        fail(ERROR_DISK_FULL);
    made_progress();
}

void ExportOutput::write_in_parts()
{
    constexpr size_t at_once = 4096; // bytes that a pipe takes as a whole
    size_t start = 0;
    size_t end = 0;
    const auto put_records = [&]
    {
        const std::string_view records = std::string_view(m_waiting).substr(start, end - start);
        if (m_pipe)
            m_pipe->write(records);
        else if (is_terminal())
            put(records);
        else
            put_bytes(records);
        start = end;
    };
    for (const size_t next : m_ends)
    {
        if (next - start > at_once && end > start)
            put_records();
        end = next;
    }
    put_records();
}

void ExportOutput::sync()
{
    if (!is_file())
        return;
    if (regular_file_id(wide_from_utf8(*m_path)) != m_id)
        throw Failure(exit_failed, *m_path +
                                       " was removed or replaced by another program; the next "
                                       "export repeats what was written last");
    if (!FlushFileBuffers(m_file))
        fail(GetLastError());
}

} // namespace trace

#include "output_file.h"

#include <cstdio>

#include "failure.h"
#include "interruption.h"
#include "text.h"

namespace trace
{

namespace
{

constexpr size_t block_size = 64 << 10;

} // namespace

OutputFile::OutputFile(const std::string& path, Takes takes) : m_path(path)
{
    if (OutputPipe::is_named(path))
    {
        if (takes == Takes::files)
            throw Failure(exit_failed, path + " can't be written: it is no regular file");
        m_pipe.emplace(path);
        return;
    }
    m_file = CreateFileW(wide_from_utf8(path).data(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                         CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file != INVALID_HANDLE_VALUE)
        return;
    const DWORD error = GetLastError();
    end_if_interrupted();
    throw Failure(exit_failed, path + " can't be written: " + error_text(error));
}

OutputFile::~OutputFile()
{
    if (m_file != INVALID_HANDLE_VALUE)
        CloseHandle(m_file);
}

void OutputFile::write(std::string_view text)
{
    if (m_pipe)
    {
        m_pipe->write(text);
        return;
    }
    DWORD done = 0;
    if (!WriteFile(m_file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr) ||
        done != text.size())
        throw Failure(exit_failed, m_path + " can't be written: " +
                                       error_text(done ? ERROR_DISK_FULL : GetLastError()));
    made_progress();
}

void OutputFile::flush()
{
    if (!m_pipe && !FlushFileBuffers(m_file))
        throw Failure(exit_failed, m_path + " can't be written: " + error_text(GetLastError()));
}

uint64_t save_shown(const std::string& path, const Store& store, const View& view,
                    const LineStyle& style)
{
    OutputFile file(path);
    LineStyle uncoloured = style;
    uncoloured.colour = false;
    TimeBase base{.start = store.start()};
    std::string block;
    for (size_t row = 0; row < view.rows(); ++row)
    {
        const RecordView record = view.record(row);
        append_lines(block, record, uncoloured, base);
        base.previous = record.time;
        if (block.size() >= block_size || row + 1 == view.rows())
        {
            file.write(block);
            block.clear();
        }
    }
    return view.rows();
}

uint64_t save_all(const std::string& path, const Store& store)
{
    View everything(store);
    while (everything.advance(SIZE_MAX))
    {
    }
    return save_shown(path, store, everything, {.time = TimeMode::absolute});
}

std::string free_name(const std::string& what)
{
    for (unsigned number = 1;; ++number)
    {
        char name[64];
        std::snprintf(name, sizeof name, "plinth-trace-%s-%04u.txt", what.c_str(), number);
        if (GetFileAttributesW(wide_from_utf8(name).data()) == INVALID_FILE_ATTRIBUTES)
            return name;
    }
}

} // namespace trace

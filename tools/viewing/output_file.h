// A text file that a viewer writes, and the two kinds of saving.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "line_format.h"
#include "output_pipe.h"
#include "view.h"

namespace trace
{

class OutputFile
{
public:
    enum class Takes
    {
        files,
        pipes_too, // a pipe or a device, which may keep the program waiting: see OutputPipe
    };

    // Replaces an existing file. Fails if the file can't be made. path: UTF-8.
    explicit OutputFile(const std::string& path, Takes takes = Takes::files);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Fails if the text can't be written.
    void write(std::string_view text);
    // Writes everything to the disk. Fails likewise.
    void flush();

private:
    std::string m_path;
    std::optional<OutputPipe> m_pipe;
    HANDLE m_file = INVALID_HANDLE_VALUE; // unless it is a pipe
};

// Save shown: the rows of the view in this style, without colours. Returns their number. Fails if
// the file can't be written; the file is then incomplete.
uint64_t save_shown(const std::string& path, const Store& store, const View& view,
                    const LineStyle& style);

// Save all: every kept record, whatever is shown, with date and time and writer. Returns their
// number.
uint64_t save_all(const std::string& path, const Store& store);

// A file name for either that is not used yet in the current folder: "plinth-trace-shown-NNNN.txt".
std::string free_name(const std::string& what);

} // namespace trace

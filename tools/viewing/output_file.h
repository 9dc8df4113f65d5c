// A text file that a viewer writes, and the two kinds of saving.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <windows.h>

#include "line_format.h"
#include "view.h"

namespace trace
{

class OutputFile
{
public:
    // Replaces a file that is there. Failure if it can't be made. path: UTF-8.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Failure if it can't be written.
    void write(std::string_view text);
    // What was written is on the disk then. Failure likewise.
    void flush();

private:
    std::string m_path;
    HANDLE m_file;
};

// Save shown: the rows of the view as the style shows them, without colours. Gives their number.
// Failure if the file can't be written; what is in it then is not the whole.
uint64_t save_shown(const std::string& path, const Store& store, const View& view,
                    const LineStyle& style);

// Save all: every record that is kept, whatever is shown, with date and time and writer. Gives
// their number.
uint64_t save_all(const std::string& path, const Store& store);

// A name for either that is not taken yet in the current folder: "plinth-trace-shown-NNNN.txt".
std::string free_name(const std::string& what);

} // namespace trace

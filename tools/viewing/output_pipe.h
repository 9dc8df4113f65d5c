// A pipe, a device or a socket that the user named as an output file. One source file for each
// system.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace trace
{

class OutputPipe
{
public:
    // Whether the path names such an object, and no regular file, folder or nothing.
    static bool is_named(const std::string& path);

    // Waits until a FIFO has a reader. Fails if it can't be opened; throws Interrupted or TimeOver
    // if the program is to end meanwhile. path: UTF-8.
    explicit OutputPipe(const std::string& path);
    ~OutputPipe();
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;

    // Waits for the reader. Throws OutputClosed if it has closed the pipe, or if it reads nothing
    // and the program is to end; fails if the text can't be written.
    void write(std::string_view text);

private:
    const std::string m_path;
    int m_descriptor = -1;
    bool m_is_terminal = false;
};

} // namespace trace

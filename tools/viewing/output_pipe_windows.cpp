// A named pipe is opened and written as a file is.
#include "output_pipe.h"

namespace trace
{

bool OutputPipe::is_named(const std::string&)
{
    return false;
}

OutputPipe::OutputPipe(const std::string& path) : m_path(path) {}

OutputPipe::~OutputPipe() = default;

void OutputPipe::write(std::string_view) {}

} // namespace trace

// The Windows interface opens a FIFO for reading too. The program itself would then be a reader, so
// that it would neither wait for another one nor notice that it has gone. Nor do signals end the
// interface's waits.
#include "output_pipe.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor_write_linux.h"
#include "failure.h"
#include "interruption.h"
#include "text.h"

namespace trace
{

namespace
{

[[noreturn]] void fail(const std::string& path, int error)
{
    throw Failure(exit_failed, path + " can't be written: " + std::strerror(error));
}

} // namespace

bool OutputPipe::is_named(const std::string& path)
{
    const WideText name = wide_from_utf8(path);
    if (GetFileAttributesW(name.data()) == INVALID_FILE_ATTRIBUTES)
        return false;
    struct stat found;
    return stat(native_path(name.data()).c_str(), &found) == 0 && !S_ISREG(found.st_mode) &&
           !S_ISDIR(found.st_mode);
}

OutputPipe::OutputPipe(const std::string& path) : m_path(path)
{
    std::signal(SIGPIPE, SIG_IGN); // a write without a reader then fails
    const std::string native = native_path(wide_from_utf8(path).data());
    while ((m_descriptor = open(native.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY)) < 0)
    {
        const int error = errno;
        if (error != EINTR)
            fail(path, error);
        end_if_interrupted();
        if (time_is_over())
            throw TimeOver();
    }
    m_is_terminal = isatty(m_descriptor) != 0;
}

OutputPipe::~OutputPipe()
{
    close(m_descriptor);
}

void OutputPipe::write(std::string_view text)
{
    if (const int error = write_to_descriptor(m_descriptor, m_is_terminal ? printable(text) : text))
        fail(m_path, error);
}

} // namespace trace

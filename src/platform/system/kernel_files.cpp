// Reads the kernel's text files.
#include "kernel_files.h"

#include "descriptor.h"
#include "plain_calls.h"
#include "test_interface.h"

namespace platform
{

namespace
{

constexpr size_t file_limit = 1 << 20;

} // namespace

std::string kernel_path(const std::string& path)
{
    if constexpr (has_test_interface)
        if (const std::string* const root = g_kernel_root)
            return *root + path;
    return path;
}

bool read_kernel_file(const std::string& path, std::string& text)
{
    text.clear();
    int error = 0;
    {
        const Descriptor file(sys::open_kernel_file(kernel_path(path).c_str()));
        if (file < 0)
            return false;
        char block[4096];
        ssize_t got = 0;
        while (text.size() < file_limit && (got = sys::read(file, block, sizeof block)) > 0)
            text.append(block, static_cast<size_t>(got));
        if (got < 0)
            error = errno;
    }
    errno = error;
    return error == 0;
}

} // namespace platform

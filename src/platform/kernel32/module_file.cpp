// Module files opened as data.
#include "modules.h"

#include <new>

#include "program_file.h"
#include "share_modes.h"
#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

ModuleFile::~ModuleFile()
{
    close();
}

void ModuleFile::close()
{
    m_image.close();
    if (m_fd >= 0)
        sys::close(m_fd);
    m_fd = -1;
}

DWORD ModuleFile::open(int fd)
{
    m_fd = fd;
    DWORD error = 0;
    try
    {
        error = fd < 0 ? system_error(errno) : read();
    }
    catch (const std::bad_alloc&)
    {
        error = ERROR_NOT_ENOUGH_MEMORY;
    }
    if (error)
        close(); // the next attempt starts anew
    return error;
}

DWORD ModuleFile::read()
{
    struct stat found;
    if (sys::fstat(m_fd, &found) != 0)
        return system_error(errno);
    if (!S_ISREG(found.st_mode))
        return ERROR_BAD_EXE_FORMAT;
    if (const DWORD error = claim_share(m_fd, {.reads = true,
                                               .writes = false,
                                               .overwrites = false,
                                               .shares_read = true,
                                               .shares_write = false}))
        return error;
    return m_image.open(m_fd);
}

DWORD ModuleFile::fetch(const pe::Bytes& bytes)
{
    const std::lock_guard guard(m_lock);
    const auto offset = static_cast<uint64_t>(bytes.data() - m_image.bytes().data());
    return bytes.size() ? m_image.read(offset, bytes.size()) : 0;
}

// The program's path stands for the file that runs, whatever has that path now.
int Module::open_descriptor() const
{
    LoadedModule loaded;
    if (m_base && module_at(m_base, loaded) && loaded.base == m_base)
        return open_image_file(loaded);
    const bool program = m_path == program_path();
    // A pipe without a writer would hold an ordinary open up.
    return sys::open(program ? program_link : m_path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
}

DWORD Module::open_file()
{
    const std::lock_guard guard(m_lock);
    if (m_open)
        return 0;
    const DWORD error = m_file.open(open_descriptor());
    m_open = error == 0;
    return error;
}

const pe::ResourceTree* Module::resources()
{
    return open_file() == 0 ? &m_file.resources() : nullptr;
}

bool Module::is_replaced(const LoadedModule& loaded)
{
    const std::lock_guard guard(m_lock);
    return m_open && !m_file.is_of(loaded);
}

} // namespace platform

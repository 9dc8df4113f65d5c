// Module files opened as data.
#include "modules.h"

#include "file_status.h"
#include "system/calls.h"
#include "system/fork.h"
#include "system/last_error.h"

namespace platform
{

ModuleFile::~ModuleFile()
{
    close();
}

void ModuleFile::close()
{
    if (m_view)
        sys::munmap(m_view, m_size);
    m_view = nullptr;
    m_file.close();
}

DWORD ModuleFile::open(const char* native_path)
{
    const DWORD error = map(native_path);
    if (error)
        close(); // the next attempt starts anew
    return error;
}

DWORD ModuleFile::map(const char* native_path)
{
    // A pipe without a writer would hold an ordinary open up.
    m_file.reset(sys::open(native_path, O_RDONLY | O_NOCTTY | O_NONBLOCK));
    struct stat found;
    if (m_file < 0 || sys::fstat(m_file, &found) != 0)
        return system_error(errno);
    if (!S_ISREG(found.st_mode) || found.st_size == 0)
        return ERROR_BAD_EXE_FORMAT;
    if (const DWORD error = m_file.claim({.reads = true,
                                          .writes = false,
                                          .overwrites = false,
                                          .shares_read = true,
                                          .shares_write = false}))
        return error;
    m_size = static_cast<size_t>(found.st_size);
    void* const view = sys::mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, m_file, 0);
    if (view == MAP_FAILED)
        return system_error(errno);
    m_view = view;
    return m_resources.open({m_view, m_size}) ? 0 : ERROR_BAD_EXE_FORMAT;
}

bool ModuleFile::is_replaced(const char* native_path) const
{
    struct stat opened;
    struct stat named;
    return sys::fstat(m_file, &opened) == 0 && sys::stat(native_path, &named) == 0 &&
           !is_same_file(opened, named);
}

std::mutex& module_files_lock()
{
    return Module::m_lock;
}

const AtFork g_at_fork(ForkStep::module_files, taken_at_fork<module_files_lock>());

DWORD Module::open_file()
{
    const std::lock_guard guard(m_lock);
    if (m_open)
        return 0;
    const DWORD error = m_file.open(m_path.c_str());
    m_open = error == 0;
    return error;
}

const pe::ResourceTree* Module::resources()
{
    return open_file() == 0 ? &m_file.resources() : nullptr;
}

bool Module::is_replaced()
{
    const std::lock_guard guard(m_lock);
    return m_open && m_file.is_replaced(m_path.c_str());
}

} // namespace platform

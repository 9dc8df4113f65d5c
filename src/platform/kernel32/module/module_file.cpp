// Module files opened as data.
#include "module_file.h"

#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "program_file.h"
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
    m_image.close();
    m_file.close();
}

DWORD ModuleFile::open(int fd, const char* path)
{
    DWORD error = fd < 0 ? system_error(errno) : 0;
    ClaimedFile file(fd);
    try
    {
        if (!error)
            error = read(std::move(file), path);
    }
    catch (const std::bad_alloc&)
    {
        error = ERROR_NOT_ENOUGH_MEMORY;
    }
    if (error)
        close(); // so that the next attempt starts anew
    return error;
}

DWORD ModuleFile::read(ClaimedFile&& file, const char* path)
{
    constexpr ShareRequest request{.reads = true,
                                   .writes = false,
                                   .overwrites = false,
                                   .shares_read = true,
                                   .shares_write = false};
    struct stat found;
    if (sys::fstat(file, &found) != 0)
        return system_error(errno);
    if (!S_ISREG(found.st_mode))
        return ERROR_BAD_EXE_FORMAT;
    if (const DWORD error = file.claim(request))
        return error;
    if (const DWORD error = m_image.open(file))
        return error;
    m_file.take(std::move(file), found, path, request);
    return 0;
}

DWORD ModuleFile::fetch(const pe::Bytes& bytes)
{
    const auto offset = static_cast<uint64_t>(bytes.data() - m_image.bytes().data());
    if (m_image.holds(offset, bytes.size()))
        return 0;
    const int fd = m_file.checked_number();
    if (fd < 0)
        return ERROR_FILE_INVALID;
    m_image.use_descriptor(fd);
    return m_image.read(offset, bytes.size());
}

namespace
{

// False if there is no longer a module at that address.
bool open_loaded(uintptr_t base, int& fd)
{
    LoadedModule loaded;
    if (!module_at(base, loaded) || loaded.base != base)
        return false;
    fd = open_image_file(loaded);
    return true;
}

} // namespace

// The program's path refers to the running file, even if another file has that path now.
const char* Module::open_path() const
{
    return m_path == program_path() ? program_link : m_path.c_str();
}

int Module::open_descriptor() const
{
    if (int fd = -1; m_base && open_loaded(m_base, fd))
        return fd;
    // An ordinary open would wait at a pipe without a writer.
    return sys::open(open_path(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
}

namespace
{

// One thread at a time opens a module's file or reads from it. A fork doesn't wait for that, since
// it may take long: the child makes the lock anew. What the lock guards is complete at each moment:
// a module has its file when that is open, and a block of it counts as read when it is in memory.
constinit OfProcess<std::mutex> g_reading;

const AtFork g_at_fork(ForkStep::module_files, {nullptr, nullptr, [] { g_reading.renew(); }});

} // namespace

DWORD Module::fetch(const pe::Bytes& bytes)
{
    const std::lock_guard guard(g_reading.get());
    return m_file.load()->fetch(bytes);
}

DWORD Module::open_file()
{
    if (m_file.load())
        return 0;
    const std::lock_guard guard(g_reading.get());
    if (m_file.load())
        return 0;
    auto file = std::make_unique<ModuleFile>();
    if (const DWORD error = file->open(open_descriptor(), open_path()))
        return error;
    m_file.store(file.release());
    return 0;
}

const pe::ResourceTree* Module::resources()
{
    return open_file() == 0 ? &m_file.load()->resources() : nullptr;
}

bool Module::is_replaced(const LoadedModule& loaded)
{
    ModuleFile* const file = m_file.load();
    return file && !file->is_of(loaded);
}

} // namespace platform

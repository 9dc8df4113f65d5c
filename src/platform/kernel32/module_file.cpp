// Module files opened as data.
#include "modules.h"

#include <algorithm>
#include <elf.h>

#include "file_status.h"
#include "image_file.h"
#include "program_file.h"
#include "share_modes.h"
#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

namespace
{

constexpr uint64_t block_size = 65'536;
constexpr uint64_t header_limit = uint64_t{1} << 24; // bytes of one table of the headers
constexpr uint32_t elf_magic = 0x464C457F;           // "\x7f" "ELF"

// Fields of a PE file's headers that say how long they are.
constexpr uint64_t pe_header_field = 60;
constexpr uint64_t pe_header_size = 24;
constexpr uint64_t pe_section_count = 6; // from the header's start, as the next
constexpr uint64_t pe_optional_size = 20;

// What a resource tree is made of.
constexpr int tree_levels = 3;
constexpr uint64_t directory_size = 16;
constexpr uint64_t entry_size = 8;
constexpr uint64_t description_size = 16;
constexpr uint32_t named = 0x80000000u;

} // namespace

ModuleFile::~ModuleFile()
{
    close();
}

void ModuleFile::close()
{
    if (m_memory)
        sys::munmap(m_memory, m_size);
    m_memory = nullptr;
    m_resources = {};
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
    if (!S_ISREG(found.st_mode) || found.st_size == 0)
        return ERROR_BAD_EXE_FORMAT;
    if (const DWORD error = claim_share(m_fd, {.reads = true,
                                               .writes = false,
                                               .overwrites = false,
                                               .shares_read = true,
                                               .shares_write = false}))
        return error;
    m_size = static_cast<size_t>(found.st_size);
    m_is_read.assign((m_size + block_size - 1) / block_size, false);
    void* const memory = sys::mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        return system_error(errno);
    m_memory = static_cast<uint8_t*>(memory);
    if (const DWORD error = read_headers())
        return error;
    if (!m_resources.open(all()))
        return ERROR_BAD_EXE_FORMAT;
    // No more entries than the tree has room for, however its directories overlap.
    uint64_t budget = m_resources.bytes().size() / entry_size;
    return read_directory(m_resources.bytes(), pe::ResourceTree::root, tree_levels, budget);
}

DWORD ModuleFile::read_headers()
{
    if (const DWORD error = read_range(0, 1))
        return error;
    return all().at<uint32_t>(0) == elf_magic ? read_elf_headers() : read_pe_headers();
}

DWORD ModuleFile::read_pe_headers()
{
    const uint64_t header = all().at<uint32_t>(pe_header_field);
    if (const DWORD error = read_range(header, pe_header_size))
        return error;
    const uint64_t sections = all().at<uint16_t>(header + pe_section_count);
    const uint64_t optional = all().at<uint16_t>(header + pe_optional_size);
    return read_range(header + pe_header_size, optional + sections * pe::section_header_size);
}

DWORD ModuleFile::read_elf_headers()
{
    Elf64_Ehdr elf{};
    Elf64_Shdr first{};
    if (!all().holds(0, sizeof elf))
        return 0; // the tree's own look refuses it
    std::memcpy(&elf, m_memory, sizeof elf);
    if (const DWORD error = read_range(elf.e_shoff, sizeof first))
        return error;
    pe::Bytes part;
    if (!all().part(elf.e_shoff, sizeof first, part))
        return 0;
    std::memcpy(&first, part.data(), sizeof first);
    // Numbers that don't fit their fields are in the first section header.
    const uint64_t count = elf.e_shnum ? elf.e_shnum : first.sh_size;
    const uint64_t names = elf.e_shstrndx == SHN_XINDEX ? first.sh_link : elf.e_shstrndx;
    if (count > header_limit / sizeof first || names >= count)
        return 0;
    if (const DWORD error = read_range(elf.e_shoff, count * sizeof first))
        return error;
    if (!all().part(elf.e_shoff + names * sizeof first, sizeof first, part))
        return 0;
    std::memcpy(&first, part.data(), sizeof first);
    return first.sh_size > header_limit ? ERROR_BAD_EXE_FORMAT
                                        : read_range(first.sh_offset, first.sh_size);
}

// A directory with all that hangs on it, except for the data.
DWORD ModuleFile::read_directory(const pe::Bytes& tree, uint32_t directory, int levels,
                                 uint64_t& budget)
{
    const uint64_t start = tree.size() ? static_cast<uint64_t>(tree.data() - m_memory) : 0;
    const auto read_part = [&](uint64_t offset, uint64_t size)
    { return tree.holds(offset, size) ? read_range(start + offset, size) : 0; };

    if (const DWORD error = read_part(directory, directory_size))
        return error;
    const uint32_t count = m_resources.entry_count(directory);
    if (const DWORD error = read_part(directory + directory_size, count * entry_size))
        return error;
    for (uint32_t i = 0; i < count && budget > 0; ++i, --budget)
    {
        const pe::ResourceTree::Entry entry = m_resources.entry(directory, i);
        DWORD error = 0;
        if (entry.id & named)
        {
            const uint64_t text = entry.id & ~named;
            error = read_part(text, sizeof(uint16_t));
            if (!error)
                error = read_part(text, (tree.at<uint16_t>(text) + 1) * sizeof(char16_t));
        }
        if (!error && !entry.is_directory)
            error = read_part(entry.target, description_size);
        if (!error && entry.is_directory && levels > 1)
            error = read_directory(tree, entry.target, levels - 1, budget);
        if (error)
            return error;
    }
    return 0;
}

// As much of the range as the file has.
DWORD ModuleFile::read_range(uint64_t offset, uint64_t size)
{
    if (offset >= m_size || size == 0)
        return 0;
    const uint64_t last = (offset + std::min<uint64_t>(size, m_size - offset) - 1) / block_size;
    for (uint64_t block = offset / block_size; block <= last; ++block)
        if (const DWORD error = m_is_read[block] ? 0 : read_block(block))
            return error;
    return 0;
}

DWORD ModuleFile::read_block(uint64_t block)
{
    const uint64_t start = block * block_size;
    const uint64_t end = std::min<uint64_t>(start + block_size, m_size);
    for (uint64_t at = start; at < end;)
    {
        const ssize_t got = sys::pread(m_fd, m_memory + at, end - at, static_cast<off_t>(at));
        if (got <= 0)
            return got == 0 ? ERROR_HANDLE_EOF : system_error(errno); // nothing: it was cut
        at += static_cast<uint64_t>(got);
    }
    m_is_read[block] = true;
    return 0;
}

DWORD ModuleFile::fetch(const pe::Bytes& bytes)
{
    const std::lock_guard guard(m_lock);
    return bytes.size() ? read_range(static_cast<uint64_t>(bytes.data() - m_memory), bytes.size())
                        : 0;
}

bool ModuleFile::is_replaced(const char* native_path) const
{
    struct stat opened;
    struct stat current;
    return sys::fstat(m_fd, &opened) == 0 && sys::stat(native_path, &current) == 0 &&
           !is_same_file(opened, current);
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

bool Module::is_replaced()
{
    const std::lock_guard guard(m_lock);
    return m_open && m_file.is_replaced(m_path.c_str());
}

} // namespace platform

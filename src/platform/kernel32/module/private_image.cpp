#include "private_image.h"

#include <algorithm>
#include <elf.h>

#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

namespace
{

constexpr uint64_t block_size = 65'536;
constexpr uint64_t header_limit = uint64_t{1} << 24; // bytes of one table of the headers
constexpr uint32_t elf_magic = 0x464C457F;           // "\x7f" "ELF"

// Fields of a PE file's headers that hold the headers' lengths.
constexpr uint64_t pe_header_field = 60;
constexpr uint64_t pe_header_size = 24;
constexpr uint64_t pe_section_count = 6; // from the header's start, like the next
constexpr uint64_t pe_optional_size = 20;

// The parts of a resource tree.
constexpr int tree_levels = 3;
constexpr uint64_t directory_size = 16;
constexpr uint64_t entry_size = 8;
constexpr uint64_t description_size = 16;
constexpr uint32_t named = 0x80000000u;

} // namespace

PrivateImage::~PrivateImage()
{
    close();
}

void PrivateImage::close()
{
    if (m_memory)
        sys::munmap(m_memory, m_size);
    m_memory = nullptr;
    m_resources = {};
}

DWORD PrivateImage::open(int fd)
{
    close();
    struct stat found;
    if (sys::fstat(fd, &found) != 0)
        return system_error(errno);
    if (!S_ISREG(found.st_mode) || found.st_size == 0)
        return ERROR_BAD_EXE_FORMAT;
    m_fd = fd;
    m_size = static_cast<size_t>(found.st_size);
    m_is_read.assign((m_size + block_size - 1) / block_size, false);
    void* const memory = sys::mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        return system_error(errno);
    m_memory = static_cast<uint8_t*>(memory);
    if (const DWORD error = read_headers())
        return error;
    if (!m_resources.open(bytes()))
        return ERROR_BAD_EXE_FORMAT;
    // At most as many entries as fit into the tree, however its directories overlap.
    uint64_t budget = m_resources.bytes().size() / entry_size;
    return read_directory(m_resources.bytes(), pe::ResourceTree::root, tree_levels, budget);
}

DWORD PrivateImage::read_headers()
{
    if (const DWORD error = read(0, 1))
        return error;
    return bytes().at<uint32_t>(0) == elf_magic ? read_elf_headers() : read_pe_headers();
}

DWORD PrivateImage::read_pe_headers()
{
    const uint64_t header = bytes().at<uint32_t>(pe_header_field);
    if (const DWORD error = read(header, pe_header_size))
        return error;
    const uint64_t sections = bytes().at<uint16_t>(header + pe_section_count);
    const uint64_t optional = bytes().at<uint16_t>(header + pe_optional_size);
    return read(header + pe_header_size, optional + sections * pe::section_header_size);
}

DWORD PrivateImage::read_elf_headers()
{
    Elf64_Ehdr elf{};
    Elf64_Shdr first{};
    if (!bytes().holds(0, sizeof elf))
        return 0; // refused later, when the tree is checked
    std::memcpy(&elf, m_memory, sizeof elf);
    if (const DWORD error = read(elf.e_shoff, sizeof first))
        return error;
    pe::Bytes part;
    if (!bytes().part(elf.e_shoff, sizeof first, part))
        return 0;
    std::memcpy(&first, part.data(), sizeof first);
    // Numbers that don't fit their fields are in the first section header.
    const uint64_t count = elf.e_shnum ? elf.e_shnum : first.sh_size;
    const uint64_t names = elf.e_shstrndx == SHN_XINDEX ? first.sh_link : elf.e_shstrndx;
    if (count > header_limit / sizeof first || names >= count)
        return 0;
    if (const DWORD error = read(elf.e_shoff, count * sizeof first))
        return error;
    if (!bytes().part(elf.e_shoff + names * sizeof first, sizeof first, part))
        return 0;
    std::memcpy(&first, part.data(), sizeof first);
    return first.sh_size > header_limit ? ERROR_BAD_EXE_FORMAT
                                        : read(first.sh_offset, first.sh_size);
}

// A directory with all directories and entries below it, except for the data.
DWORD PrivateImage::read_directory(const pe::Bytes& tree, uint32_t directory, int levels,
                                   uint64_t& budget)
{
    const uint64_t start = tree.size() ? static_cast<uint64_t>(tree.data() - m_memory) : 0;
    const auto read_part = [&](uint64_t offset, uint64_t size)
    { return tree.holds(offset, size) ? read(start + offset, size) : 0; };

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

// The blocks with as much of the range as the file has.
PrivateImage::Blocks PrivateImage::blocks_of(uint64_t offset, uint64_t size) const
{
    if (offset >= m_size || size == 0)
        return {};
    const uint64_t last = offset + std::min<uint64_t>(size, m_size - offset) - 1;
    return {offset / block_size, last / block_size + 1};
}

bool PrivateImage::holds(uint64_t offset, uint64_t size) const
{
    auto [block, end] = blocks_of(offset, size);
    while (block < end && m_is_read[block])
        ++block;
    return block == end;
}

DWORD PrivateImage::read(uint64_t offset, uint64_t size)
{
    const auto [first, end] = blocks_of(offset, size);
    for (uint64_t block = first; block < end; ++block)
        if (const DWORD error = m_is_read[block] ? 0 : read_block(block))
            return error;
    return 0;
}

DWORD PrivateImage::read_block(uint64_t block)
{
    const uint64_t start = block * block_size;
    const uint64_t end = std::min<uint64_t>(start + block_size, m_size);
    for (uint64_t at = start; at < end;)
    {
        const ssize_t got = sys::pread(m_fd, m_memory + at, end - at, static_cast<off_t>(at));
        if (got <= 0)
            return got == 0 ? ERROR_HANDLE_EOF : system_error(errno); // 0 bytes: the file was cut
        at += static_cast<uint64_t>(got);
    }
    m_is_read[block] = true;
    return 0;
}

} // namespace platform

// The section ".rsrc" of an ELF file.
//
// Addresses in its tree count from the start of the section, so that the tree needs no relocation
// and can be read from the file alone.
#include <elf.h>

#include "resource_tree.h"

namespace platform::pe
{

namespace
{

constexpr char section_name[] = ".rsrc";

bool read_header(const Bytes& file, uint64_t offset, Elf64_Shdr& header)
{
    Bytes part;
    if (!file.part(offset, sizeof header, part))
        return false;
    std::memcpy(&header, part.data(), sizeof header);
    return true;
}

} // namespace

bool ResourceTree::open_elf(Bytes file)
{
    Elf64_Ehdr elf;
    if (!file.holds(0, sizeof elf))
        return false;
    std::memcpy(&elf, file.data(), sizeof elf);
    if (elf.e_ident[EI_CLASS] != ELFCLASS64 || elf.e_ident[EI_DATA] != ELFDATA2LSB)
        return false;
    // A file stripped of its section table still runs, but has no resources.
    Elf64_Shdr header;
    if (elf.e_shoff == 0 || elf.e_shentsize != sizeof header ||
        !read_header(file, elf.e_shoff, header))
        return true;
    // Numbers that don't fit their fields are in the first section header.
    const uint64_t count = elf.e_shnum ? elf.e_shnum : header.sh_size;
    const uint64_t names_index = elf.e_shstrndx == SHN_XINDEX ? header.sh_link : elf.e_shstrndx;
    Bytes table;
    if (count > file.size() / sizeof header ||
        !file.part(elf.e_shoff, count * sizeof header, table) || names_index >= count)
        return true;
    Bytes names;
    if (!read_header(table, names_index * sizeof header, header) ||
        !file.part(header.sh_offset, header.sh_size, names))
        return true;
    for (uint64_t i = 0; i < count; ++i)
    {
        Bytes name;
        Bytes section;
        if (read_header(table, i * sizeof header, header) && header.sh_type == SHT_PROGBITS &&
            names.part(header.sh_name, sizeof section_name, name) &&
            std::memcmp(name.data(), section_name, sizeof section_name) == 0 &&
            file.part(header.sh_offset, header.sh_size, section) && section.size())
        {
            m_tree = section;
            m_extents.push_back({0, section});
            break;
        }
    }
    return true;
}

} // namespace platform::pe

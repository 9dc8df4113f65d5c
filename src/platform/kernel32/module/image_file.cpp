#include "image_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <vector>

#include "kernel32/file/mappings.h"
#include "program_file.h"
#include "system/calls.h"

namespace platform
{

namespace
{

constexpr size_t header_limit = 64;   // program headers that are read
constexpr uint64_t note_limit = 4096; // bytes of one segment of notes
constexpr uint64_t page = 4096;
constexpr char note_owner[] = "GNU";

using BuildId = std::vector<uint8_t>; // empty: no id

uint64_t padded(uint64_t size)
{
    return (size + 3) / 4 * 4;
}

BuildId id_in_notes(const std::vector<uint8_t>& notes)
{
    Elf64_Nhdr head;
    for (uint64_t at = 0; notes.size() - at >= sizeof head;)
    {
        std::memcpy(&head, &notes[at], sizeof head);
        const uint64_t name = at + sizeof head;
        const uint64_t content = name + padded(head.n_namesz);
        const uint64_t end = content + head.n_descsz;
        if (end > notes.size())
            break;
        if (head.n_type == NT_GNU_BUILD_ID && head.n_namesz == sizeof note_owner &&
            std::memcmp(&notes[name], note_owner, sizeof note_owner) == 0)
            return {notes.begin() + static_cast<ptrdiff_t>(content),
                    notes.begin() + static_cast<ptrdiff_t>(end)};
        at = std::min<uint64_t>(content + padded(head.n_descsz), notes.size());
    }
    return {};
}

// read(offset, buffer, size) reads from the start of the image; false if not all could be read.
// loaded: the segments are at their addresses, else as in the file.
template <class Read> BuildId build_id(bool loaded, Read read)
{
    Elf64_Ehdr elf;
    std::array<Elf64_Phdr, header_limit> headers;
    if (!read(0, &elf, sizeof elf) || std::memcmp(elf.e_ident, ELFMAG, SELFMAG) != 0 ||
        elf.e_ident[EI_CLASS] != ELFCLASS64 || elf.e_phentsize != sizeof headers[0])
        return {};
    const size_t count = std::min<size_t>(elf.e_phnum, header_limit);
    if (!read(elf.e_phoff, headers.data(), count * sizeof headers[0]))
        return {};
    uint64_t lowest = UINT64_MAX;
    for (size_t i = 0; i < count; ++i)
        if (headers[i].p_type == PT_LOAD)
            lowest = std::min(lowest, headers[i].p_vaddr / page * page);
    for (size_t i = 0; i < count; ++i)
    {
        if (headers[i].p_type != PT_NOTE)
            continue;
        std::vector<uint8_t> notes(std::min(headers[i].p_filesz, note_limit));
        const uint64_t start = loaded ? headers[i].p_vaddr - lowest : headers[i].p_offset;
        if (!read(start, notes.data(), notes.size()))
            continue;
        if (BuildId id = id_in_notes(notes); !id.empty())
            return id;
    }
    return {};
}

// If a module's file was cut, not all of its memory can be read.
BuildId build_id_of(const LoadedModule& module)
{
    return build_id(true,
                    [&](uint64_t offset, void* to, size_t size)
                    {
                        return offset <= module.end - module.base &&
                               sys::read_memory(module.base + offset, to, size) ==
                                   static_cast<ssize_t>(size);
                    });
}

BuildId build_id_of(int fd)
{
    return build_id(false,
                    [fd](uint64_t offset, void* to, size_t size)
                    {
                        return offset <= INT64_MAX &&
                               sys::pread(fd, to, size, static_cast<off_t>(offset)) ==
                                   static_cast<ssize_t>(size);
                    });
}

bool is_mapped(int fd, const LoadedModule& module)
{
    struct stat found;
    Mapping mapping;
    return sys::fstat(fd, &found) == 0 && mapped_file_at(module.base, mapping) &&
           mapping.inode == found.st_ino;
}

// The descriptor, or -1 after closing it.
int admitted(int fd, const LoadedModule& module)
{
    if (fd < 0)
        return -1;
    if (is_image_file(fd, module))
        return fd;
    sys::close(fd);
    errno = ESTALE;
    return -1;
}

// The kernel's link to the mapped file; not every user may follow it.
int open_mapped(const LoadedModule& module)
{
    Mapping mapping;
    if (!mapped_file_at(module.base, mapping))
        return -1;
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/map_files/%lx-%lx", mapping.start, mapping.end);
    return sys::open(link, O_RDONLY | O_NOCTTY | O_NONBLOCK);
}

} // namespace

int open_image_file(const LoadedModule& module)
{
    if (module.program)
        return sys::open(program_link, O_RDONLY);
    // An ordinary open would wait at a pipe without a writer.
    int fd = admitted(sys::open(module.path, O_RDONLY | O_NOCTTY | O_NONBLOCK), module);
    const int error = errno;
    if (fd < 0)
        fd = admitted(open_mapped(module), module);
    if (fd < 0)
        errno = error;
    return fd;
}

bool is_image_file(int fd, const LoadedModule& module)
{
    const BuildId loaded = build_id_of(module);
    return loaded.empty() ? is_mapped(fd, module) : build_id_of(fd) == loaded;
}

} // namespace platform

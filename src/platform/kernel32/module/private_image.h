// A module file in private memory.
//
// Another program may cut the file at any time, which would end a process that has it mapped. So
// what is needed is read: the headers and the tree of resources at once, the rest when it is asked
// for. The memory has a place for each byte of the file; only the blocks that were read take room.
#pragma once

#include <vector>

#include "pe/resource_tree.h"
#include "windef.h"

namespace platform
{

// One thread at a time.
class PrivateImage
{
public:
    PrivateImage() = default;
    PrivateImage(const PrivateImage&) = delete;
    PrivateImage& operator=(const PrivateImage&) = delete;
    ~PrivateImage();

    // The descriptor stays the caller's, and open while this reads. 0 or a system error;
    // ERROR_BAD_EXE_FORMAT for what is no module file, ERROR_HANDLE_EOF for one that is cut
    // meanwhile. May be tried again.
    DWORD open(int fd);
    void close();

    // All of the file; what was not read is zero.
    pe::Bytes bytes() const { return {m_memory, m_size}; }
    const pe::ResourceTree& resources() const { return m_resources; }

    // Reads a range, as much of it as the file had when it was opened. 0 or a system error, as
    // above.
    DWORD read(uint64_t offset, uint64_t size);

private:
    DWORD read_headers();
    DWORD read_pe_headers();
    DWORD read_elf_headers();
    DWORD read_directory(const pe::Bytes& tree, uint32_t directory, int levels, uint64_t& budget);
    DWORD read_block(uint64_t block);

    int m_fd = -1;
    uint8_t* m_memory = nullptr;
    size_t m_size = 0;
    std::vector<bool> m_is_read; // by block
    pe::ResourceTree m_resources;
};

} // namespace platform

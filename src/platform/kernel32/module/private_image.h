// A module file in private memory.
//
// Another program may cut the file at any time, which would end a process that has it mapped. So
// the file is read instead: the headers and the tree of resources at once, the rest when needed.
// The memory has an address for each byte of the file; only the blocks that were read use memory.
#pragma once

#include <vector>

#include "pe/resource_tree.h"
#include "windef.h"

namespace platform
{

// For one thread at a time.
class PrivateImage
{
public:
    PrivateImage() = default;
    PrivateImage(const PrivateImage&) = delete;
    PrivateImage& operator=(const PrivateImage&) = delete;
    ~PrivateImage();

    // The descriptor stays the caller's and must stay open meanwhile, or until use_descriptor
    // passes another one of the same file. 0 or a system error;
    // ERROR_BAD_EXE_FORMAT for a file that is no module, ERROR_HANDLE_EOF for one that is cut
    // meanwhile. May be tried again.
    DWORD open(int fd);
    void close();
    void use_descriptor(int fd) { m_fd = fd; }

    // All bytes of the file; those that were not read are zero.
    pe::Bytes bytes() const { return {m_memory, m_size}; }
    const pe::ResourceTree& resources() const { return m_resources; }

    // Whether a range was read.
    bool holds(uint64_t offset, uint64_t size) const;
    // Reads a range, as far as the file had it when it was opened. 0 or a system error, as above.
    DWORD read(uint64_t offset, uint64_t size);

private:
    struct Blocks
    {
        uint64_t first;
        uint64_t end;
    };
    Blocks blocks_of(uint64_t offset, uint64_t size) const;
    DWORD read_headers();
    DWORD read_pe_headers();
    DWORD read_elf_headers();
    DWORD read_directory(const pe::Bytes& tree, uint32_t directory, int levels, uint64_t& budget);
    DWORD read_block(uint64_t block);

    int m_fd = -1;
    uint8_t* m_memory = nullptr;
    size_t m_size = 0;
    std::vector<bool> m_is_read; // one for each block; set when its bytes are in memory
    pe::ResourceTree m_resources;
};

} // namespace platform

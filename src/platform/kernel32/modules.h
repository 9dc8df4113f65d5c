// The modules of a process by handle: files that were opened as data, and modules that were loaded,
// with the resources in their files.
//
// Whoever works on a module holds it, so that it stays while another thread frees it. What was
// handed out of it (places of resources) goes with the last FreeLibrary, or, if it was not loaded
// through here, some time after those who loaded it have unloaded it.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "loaded_modules.h"
#include "pe/resource_tree.h"
#include "windef.h"

namespace platform
{

// A module file that is open for reading. What is needed of it is read into private memory: a
// program that cuts the file would end those that have it mapped. The memory has a place for each
// byte of the file, and only the blocks that were read take room. While the file is open, nobody
// opens it for writing through this interface.
class ModuleFile
{
public:
    ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;
    ~ModuleFile();

    // Takes the descriptor over; -1 stands for errno. 0 or a system error; ERROR_BAD_EXE_FORMAT for
    // what is no module file, ERROR_HANDLE_EOF for one that is cut meanwhile. May be tried again.
    DWORD open(int fd);

    // Whether another file has its place now.
    bool is_replaced(const char* native_path) const;

    const pe::ResourceTree& resources() const { return m_resources; }
    // Reads bytes that a resource consists of. 0 or a system error. Any thread.
    DWORD fetch(const pe::Bytes& bytes);

private:
    DWORD read();
    DWORD read_headers();
    DWORD read_pe_headers();
    DWORD read_elf_headers();
    DWORD read_directory(const pe::Bytes& tree, uint32_t directory, int levels, uint64_t& budget);
    DWORD read_range(uint64_t offset, uint64_t size);
    DWORD read_block(uint64_t block);
    void close();

    pe::Bytes all() const { return {m_memory, m_size}; }

    int m_fd = -1;
    uint8_t* m_memory = nullptr;
    size_t m_size = 0;
    std::mutex m_lock;            // guards m_is_read after the opening; taken last
    std::vector<bool> m_is_read; // by block
    pe::ResourceTree m_resources;
};

class Module
{
public:
    // Of a file that is opened as data.
    explicit Module(std::string path) : m_path(std::move(path)) {}
    explicit Module(const LoadedModule& loaded) : m_path(loaded.path), m_base(loaded.base) {}

    const std::string& path() const { return m_path; } // native

    // Opens the file, once, to read resources. 0 or a system error.
    DWORD open_file();
    // Null if the file can't be opened.
    const pe::ResourceTree* resources();
    // As ModuleFile::fetch, once the file is open.
    DWORD fetch(const pe::Bytes& bytes) { return m_file.fetch(bytes); }
    // Whether the file was opened and another one has its place now.
    bool is_replaced();

private:
    int open_descriptor() const;

    const std::string m_path;
    const uintptr_t m_base = 0; // of one that is loaded
    std::mutex m_lock;          // guards the two below; taken last
    bool m_open = false;
    ModuleFile m_file;
};

// Null, and ERROR_MOD_NOT_FOUND, for a handle that is none. A null handle and that of the program
// stand for the program's own file.
std::shared_ptr<Module> hold_module(HMODULE handle);

// The address of what a loaded module, or the program, exports under a name. Null, and
// ERROR_MOD_NOT_FOUND or ERROR_PROC_NOT_FOUND.
void* symbol_of(HMODULE handle, const char* name);

} // namespace platform

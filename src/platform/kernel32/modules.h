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

#include "pe/resource_tree.h"
#include "share_modes.h"
#include "windef.h"

namespace platform
{

// A module file, mapped for reading. While it is, nobody opens it for writing through this
// interface, so that it doesn't get shorter under the view.
class ModuleFile
{
public:
    ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;
    ~ModuleFile();

    // 0 or a system error; ERROR_BAD_EXE_FORMAT for what is no module file. May be tried again.
    DWORD open(const char* native_path);

    // Whether another file has its place now.
    bool is_replaced(const char* native_path) const;

    const pe::ResourceTree& resources() const { return m_resources; }

private:
    DWORD map(const char* native_path);
    void close();

    ClaimedFile m_file;
    void* m_view = nullptr;
    size_t m_size = 0;
    pe::ResourceTree m_resources;
};

std::mutex& module_files_lock();

class Module
{
public:
    explicit Module(std::string path) : m_path(std::move(path)) {}

    const std::string& path() const { return m_path; } // native

    // Opens the file, once, to read resources. 0 or a system error.
    DWORD open_file();
    // Null if the file can't be opened.
    const pe::ResourceTree* resources();
    // Whether the file was opened and another one has its place now.
    bool is_replaced();

private:
    const std::string m_path;
    friend std::mutex& module_files_lock();

    // Guards the two below, of all modules, so that a fork finds it; taken last.
    static inline std::mutex m_lock;
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

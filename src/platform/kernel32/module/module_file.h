// A module's file, opened as data, with the resources in it.
#pragma once

#include <atomic>
#include <string>
#include <utility>

#include "image_file.h"
#include "kernel32/file/own_claimed_file.h"
#include "private_image.h"
#include "windef.h"

namespace platform
{

// A module file that is open for reading. Meanwhile it can't be opened for writing through this
// interface.
class ModuleFile
{
public:
    ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;
    ~ModuleFile();

    // Takes the descriptor over; if it is -1, errno is the reason. path: where the file can be
    // opened again, should the program close the descriptor. 0 or a system error, as PrivateImage.
    // May be tried again.
    DWORD open(int fd, const char* path);

    // Whether the loaded module was made from this file.
    bool is_of(const LoadedModule& loaded)
    {
        return is_image_file(m_file.checked_number(), loaded);
    }

    const pe::ResourceTree& resources() const { return m_image.resources(); }
    // Reads the bytes of a resource. 0 or a system error: ERROR_FILE_INVALID if the program has
    // closed the descriptor and the file can't be opened again.
    DWORD fetch(const pe::Bytes& bytes);

private:
    DWORD read(ClaimedFile&& file, const char* path);
    void close();

    OwnClaimedFile m_file;
    PrivateImage m_image;
};

class Module
{
public:
    // For a file that is opened as data.
    explicit Module(std::string path) : m_path(std::move(path)) {}
    explicit Module(const LoadedModule& loaded) : m_path(loaded.path), m_base(loaded.base) {}
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module() { delete m_file.load(); }

    const std::string& path() const { return m_path; } // native

    // Opens the file, once, to read resources. 0 or a system error.
    DWORD open_file();
    // Null if the file can't be opened.
    const pe::ResourceTree* resources();
    // As ModuleFile::fetch, once the file is open.
    DWORD fetch(const pe::Bytes& bytes);
    // Whether the file was opened and the module that is loaded now was made from another file.
    bool is_replaced(const LoadedModule& loaded);

private:
    const char* open_path() const;
    int open_descriptor() const;

    const std::string m_path;
    const uintptr_t m_base = 0;               // of a loaded module
    std::atomic<ModuleFile*> m_file{nullptr}; // set once, when it is open
};

} // namespace platform

// The kernel's list of the process's mappings.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include <sys/types.h>

#include "path.h"

namespace platform
{

struct Mapping
{
    uintptr_t start = 0;
    uintptr_t end = 0;
    char access[5] = "";
    ino_t inode = 0;                   // 0: no file
    char path[native_path_limit] = ""; // of the file, as the kernel knows it now
};

// Reads the list once, in the order of the addresses.
class Mappings
{
public:
    Mappings();
    bool ok() const { return m_list != nullptr; } // false with errno
    // False at the end.
    bool next(Mapping& mapping);

private:
    struct CloseFile
    {
        void operator()(FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<FILE, CloseFile> m_list;
};

// The mapping that contains this address, if it maps a file.
bool mapped_file_at(uintptr_t address, Mapping& found);

} // namespace platform

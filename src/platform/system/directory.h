// A directory that is closed with its scope.
#pragma once

#include "calls.h"

namespace platform
{

class Directory
{
public:
    explicit Directory(const char* path) : m_directory(sys::opendir(path)) {}
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory()
    {
        if (m_directory)
            sys::closedir(m_directory);
    }
    explicit operator bool() const { return m_directory != nullptr; }
    // The next entry; null after the last, and if the folder can't be read.
    const dirent* next() { return m_directory ? sys::readdir(m_directory) : nullptr; }

private:
    DIR* const m_directory;
};

} // namespace platform

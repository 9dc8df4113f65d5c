// Loading modules, and forks: the child of a process that forks during a load would have a broken
// loader.
#pragma once

namespace platform
{

// While one exists, its thread is in the loader, or in a look-up of names, which may load modules
// too; a fork of another thread waits for it.
class Load
{
public:
    Load();
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load();
};

} // namespace platform

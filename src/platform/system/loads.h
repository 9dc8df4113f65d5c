// Loading modules and forks: a child of a process whose loader is at work would find it broken.
#pragma once

namespace platform
{

// While one lives the thread is in the loader, or in a look-up of names, which may load modules
// too, and a fork of another thread waits for it.
class Load
{
public:
    Load();
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load();
};

} // namespace platform

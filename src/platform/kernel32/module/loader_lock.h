// The loader's lock, as far as it affects threads: none can begin or end while another one is in
// FreeLibrary, where modules run their final code. A module that waits there for a thread to begin
// or end waits forever, here as on the system. TerminateThread still ends a thread.
#pragma once

namespace platform
{

// Held by the thread that unloads; a thread may hold several.
class LoaderLock
{
public:
    LoaderLock();
    LoaderLock(const LoaderLock&) = delete;
    LoaderLock& operator=(const LoaderLock&) = delete;
    ~LoaderLock();
};

// Waits until no other thread holds the lock.
void await_loader_lock();

// For a child just forked, whose only thread keeps what it held.
void keep_own_loader_lock();

} // namespace platform

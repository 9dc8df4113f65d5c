// The loader's lock, as far as threads meet it: none can begin or end while another one is in
// FreeLibrary, whose modules run their code then. A module that waits there for a thread to begin
// or end waits in vain, here as on the system. TerminateThread ends a thread all the same.
#pragma once

namespace platform
{

// Held by the thread that unloads; it may hold several.
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

// In a child just forked, whose only thread keeps what it held.
void keep_own_loader_lock();

} // namespace platform

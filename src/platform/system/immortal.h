// An object that is made at its first use and never destroyed: threads use it until the very end of
// the process. It needs no memory from the heap, so its first use can't fail for lack of memory.
#pragma once

#include <new>

namespace platform
{

// For a static variable of a function:
//     static Immortal<Table> only;
// The constructor of T must not allocate.
template <class T> class Immortal
{
public:
    Immortal() noexcept { new (m_memory) T; }
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;
    T& operator*() { return *std::launder(reinterpret_cast<T*>(m_memory)); }
    T* operator->() { return &**this; }

private:
    alignas(T) unsigned char m_memory[sizeof(T)];
};

} // namespace platform

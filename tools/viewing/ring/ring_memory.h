// The named objects of the ring, mapped. They exist as long as any viewer has them open.
#pragma once

#include <vector>

#include <windows.h>

#include "ring_layout.h"

namespace trace
{

class RingMemory
{
public:
    enum class Access
    {
        read,
        write,
    };

    RingMemory() = default;
    ~RingMemory() { close(); }
    RingMemory(const RingMemory&) = delete;
    RingMemory& operator=(const RingMemory&) = delete;

    // Makes the objects, or joins existing ones: all or none. On failure false, with the last
    // error.
    bool open(Access access);
    void close();

    bool is_open() const { return !m_mappings.empty(); }
    const RingView& view() const { return m_view; }

private:
    void* map(const wchar_t* name, uint64_t size, Access access);

    RingView m_view;
    std::vector<HANDLE> m_mappings;
    std::vector<void*> m_views;
};

} // namespace trace

#include "ring_memory.h"

#include <iterator>
#include <optional>

#include "text.h"

namespace trace
{

namespace
{

// The name of a segment's mapping; without a segment, of the header's.
WideText name_of(std::optional<size_t> segment)
{
    WideText name(std::begin(ring_name), std::end(ring_name));
    if (segment)
    {
        name.back() = L'-';
        name.push_back(static_cast<wchar_t>(L'0' + *segment));
        name.push_back(L'\0');
    }
    return name;
}

// The system has reserved the memory; a process counts it as its own from its first touch on. Done
// at once, what a viewer takes up doesn't grow by the ring as records come.
void touch(const RingWord* segment)
{
    constexpr size_t page_size = 4096;
    for (size_t at = 0; at < ring_segment_size; at += page_size)
        static_cast<void>(segment[at / sizeof(RingWord)].load(std::memory_order_relaxed));
}

} // namespace

bool RingMemory::open(Access access)
{
    m_view.header =
        static_cast<RingHeader*>(map(name_of(std::nullopt).data(), sizeof(RingHeader), access));
    bool is_whole = m_view.header != nullptr;
    for (size_t i = 0; is_whole && i < ring_segments; ++i)
    {
        m_view.segments[i] =
            static_cast<RingWord*>(map(name_of(i).data(), ring_segment_size, access));
        is_whole = m_view.segments[i] != nullptr;
        if (is_whole)
            touch(m_view.segments[i]);
    }
    if (is_whole)
        return true;
    const DWORD error = GetLastError();
    close();
    SetLastError(error);
    return false;
}

void* RingMemory::map(const wchar_t* name, uint64_t size, Access access)
{
    const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              static_cast<DWORD>(size), name);
    if (!mapping)
        return nullptr;
    m_mappings.push_back(mapping);
    void* const view = MapViewOfFile(
        mapping, access == Access::write ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, size);
    if (view)
        m_views.push_back(view);
    return view;
}

void RingMemory::close()
{
    for (void* const view : m_views)
        UnmapViewOfFile(view);
    for (const HANDLE mapping : m_mappings)
        CloseHandle(mapping);
    m_views.clear();
    m_mappings.clear();
    m_view = {};
}

} // namespace trace

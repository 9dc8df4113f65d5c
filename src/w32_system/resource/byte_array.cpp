// The growable buffer.
#include <cstdlib>
#include <cstring>

#include "plinth_w32_system.h"

namespace
{

constexpr uint64_t size_limit = 0xFFFFFFFFu; // sizes have 32 bits

} // namespace

CQvByteArrayW32::CQvByteArrayW32(unsigned int growthStep)
{
    Init(growthStep);
}

CQvByteArrayW32::CQvByteArrayW32(const void* data, unsigned int size, unsigned int growthStep)
{
    Init(growthStep);
    SetData(data, size, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
}

CQvByteArrayW32::CQvByteArrayW32(const CQvByteArrayW32& other)
{
    Init(other.m_uGrowthStep);
    SetData(other.m_pData, other.m_uSize, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
}

CQvByteArrayW32& CQvByteArrayW32::operator=(const CQvByteArrayW32& other)
{
    if (this == &other)
        return *this;
    FreeData();
    SetData(other.m_pData, other.m_uSize, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
    return *this;
}

CQvByteArrayW32::~CQvByteArrayW32()
{
    FreeData();
}

void CQvByteArrayW32::Init(unsigned int growthStep)
{
    m_pData = nullptr;
    m_uCurrentOffset = 0;
    m_uSize = 0;
    m_uAllocated = 0;
    m_uGrowthStep = growthStep ? growthStep : 1;
}

bool CQvByteArrayW32::operator==(const CQvByteArrayW32& other) const
{
    return m_uSize == other.m_uSize &&
           (m_uSize == 0 || std::memcmp(m_pData, other.m_pData, m_uSize) == 0);
}

bool CQvByteArrayW32::operator!=(const CQvByteArrayW32& other) const
{
    return !(*this == other);
}

// Makes room for size bytes after base. If that fails, returns false with nothing changed.
bool CQvByteArrayW32::Reallocate(unsigned int base, unsigned int size, EQvByteArrayModeAlloc alloc)
{
    uint64_t wanted = uint64_t{base} + size;
    if (alloc == QV_BYTEARRAY_ALLOC_GROW)
    {
        const uint64_t need = wanted - m_uAllocated;
        wanted = m_uAllocated + (need / m_uGrowthStep + 1) * m_uGrowthStep;
    }
    if (wanted > size_limit)
        return false;
    void* const block = std::realloc(m_pData, static_cast<size_t>(wanted));
    if (!block)
        return false;
    m_pData = static_cast<unsigned char*>(block);
    m_uAllocated = static_cast<uint32_t>(wanted);
    return true;
}

int CQvByteArrayW32::SetData(const void* data, unsigned int size, EQvByteArrayModeOp op,
                             EQvByteArrayModeAlloc alloc)
{
    const uint32_t base = op == QV_BYTEARRAY_OP_APPEND ? m_uSize : 0;
    int status = QV_OK;
    if (size > m_uAllocated - base && alloc != QV_BYTEARRAY_ALLOC_FIXED)
    {
        // The data may be a part of this array, which moves when its block is reallocated.
        const auto place = reinterpret_cast<uintptr_t>(data);
        const auto block = reinterpret_cast<uintptr_t>(m_pData);
        const bool own = m_pData && place >= block && place - block < m_uAllocated;
        if (!Reallocate(base, size, alloc))
            status = QV_ERR_NOMEMORY;
        else if (own)
            data = m_pData + (place - block);
    }
    if (!data)
        return status;
    const uint32_t room = m_uAllocated - base;
    const uint32_t count = size < room ? size : room;
    if (count == 0)
        return size ? QV_ERR_SYSTEM : status;
    std::memmove(m_pData + base, data, count);
    m_uSize = base + count;
    return count < size ? QV_ERR_TRUNCATED : status;
}

void CQvByteArrayW32::FreeData()
{
    std::free(m_pData);
    Init(m_uGrowthStep);
}

const void* CQvByteArrayW32::GetData() const
{
    return m_pData;
}

void* CQvByteArrayW32::GetData(unsigned int newSize)
{
    if (newSize != 0 && newSize <= m_uAllocated)
        m_uSize = newSize;
    return m_pData;
}

unsigned int CQvByteArrayW32::GetSize() const
{
    return m_uSize;
}

unsigned int CQvByteArrayW32::GetAllocated() const
{
    return m_uAllocated;
}

int CQvByteArrayW32::SetCurrentOffset(unsigned int offset)
{
    if (offset > m_uAllocated)
        return QV_ERR_NULLPTR;
    m_uCurrentOffset = offset;
    return QV_OK;
}

int CQvByteArrayW32::SetCurrentOffsetPtr(void* pointer)
{
    const auto place = reinterpret_cast<uintptr_t>(pointer);
    const auto block = reinterpret_cast<uintptr_t>(m_pData);
    if (!pointer || !m_pData || place < block || place - block > m_uAllocated)
        return QV_ERR_NULLPTR;
    return SetCurrentOffset(static_cast<uint32_t>(place - block));
}

unsigned int CQvByteArrayW32::GetCurrentOffset() const
{
    return m_uCurrentOffset <= m_uAllocated ? m_uCurrentOffset : 0;
}

void* CQvByteArrayW32::GetCurrentOffsetPtr() const
{
    return m_pData ? m_pData + GetCurrentOffset() : nullptr;
}

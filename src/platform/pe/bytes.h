// Bytes of unknown origin, with checked access: every access has an offset and a length in 64 bits
// and is checked against the size. Numbers are little-endian and may be at any offset.
#pragma once

#include <cstdint>
#include <cstring>

namespace platform::pe
{

class Bytes
{
public:
    Bytes() = default;
    Bytes(const void* data, uint64_t size) : m_data(static_cast<const uint8_t*>(data)), m_size(size)
    {
    }

    const uint8_t* data() const { return m_data; }
    uint64_t size() const { return m_size; }

    bool holds(uint64_t offset, uint64_t length) const
    {
        return offset <= m_size && length <= m_size - offset;
    }

    // False, and an empty part, if the range is not within the bytes.
    bool part(uint64_t offset, uint64_t length, Bytes& result) const
    {
        result = holds(offset, length) ? Bytes(m_data + offset, length) : Bytes();
        return holds(offset, length);
    }

    // False, and zero, if the number is not within the bytes.
    template <class Number> bool read(uint64_t offset, Number& number) const
    {
        number = 0;
        if (!holds(offset, sizeof number))
            return false;
        std::memcpy(&number, m_data + offset, sizeof number);
        return true;
    }

    // For a number whose offset was checked: zero outside.
    template <class Number> Number at(uint64_t offset) const
    {
        Number number;
        read(offset, number);
        return number;
    }

private:
    const uint8_t* m_data = nullptr;
    uint64_t m_size = 0;
};

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "numbers are copied as they lie");

// The next multiple of a power of two.
inline uint64_t aligned(uint64_t value, uint64_t alignment)
{
    return (value + alignment - 1) & ~(alignment - 1);
}

} // namespace platform::pe

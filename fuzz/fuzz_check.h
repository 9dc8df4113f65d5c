// What all fuzz targets use: a promise that is checked, and input taken from the front.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace fuzz
{

// Ends the process, so that the fuzzer keeps the input.
inline void check(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

class Input
{
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    uint8_t byte()
    {
        if (m_size == 0)
            return 0;
        --m_size;
        return *m_data++;
    }
    size_t size() const { return m_size; }
    // The next bytes as units of a text, in memory of exactly this size (terminator included), so
    // that the sanitizer sees a read beyond.
    template <class Unit> std::unique_ptr<Unit[]> text(size_t& length)
    {
        length = std::min(length, m_size / sizeof(Unit));
        auto result = std::make_unique<Unit[]>(length + 1);
        if (length)
            std::memcpy(result.get(), m_data, length * sizeof(Unit));
        m_data += length * sizeof(Unit);
        m_size -= length * sizeof(Unit);
        return result;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
};

} // namespace fuzz

// Shared by all fuzz targets: the entry, input taken from the front, and the check of a promise.
// For the one source file of a target, which defines fuzz::run.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

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

// The bytes are in memory of exactly their size, so that the sanitizer notices a read after them.
class Input
{
public:
    Input(const uint8_t* data, size_t size) : m_rest(data, size) {}

    const uint8_t* data() const { return m_rest.data(); }
    size_t size() const { return m_rest.size(); }

    // The next bytes as a number, the first is the most significant; zero for missing bytes.
    uint64_t number(unsigned bytes)
    {
        uint64_t result = 0;
        for (; bytes > 0; --bytes, m_rest = m_rest.subspan(std::min<size_t>(1, size())))
            result = result << 8 | (m_rest.empty() ? 0u : m_rest.front());
        return result;
    }
    uint8_t byte() { return static_cast<uint8_t>(number(1)); }

    // The next bytes as units of a text, with a terminator and no memory after it.
    template <class Unit> std::vector<Unit> text(size_t limit = SIZE_MAX)
    {
        std::vector<Unit> result(std::min(limit, size() / sizeof(Unit)) + 1);
        const size_t bytes = (result.size() - 1) * sizeof(Unit);
        std::copy_n(data(), bytes, reinterpret_cast<uint8_t*>(result.data()));
        m_rest = m_rest.subspan(bytes);
        return result;
    }

private:
    std::span<const uint8_t> m_rest;
};

void run(Input input);

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::run({data, size});
    return 0;
}

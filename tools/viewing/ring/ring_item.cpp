#include "ring_item.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace trace
{

void store_words(RingWord* to, const void* from, size_t bytes)
{
    const char* const source = static_cast<const char*>(from);
    for (size_t done = 0; done < bytes; done += sizeof(RingWord))
    {
        uint64_t word = 0;
        std::memcpy(&word, source + done, std::min(sizeof word, bytes - done));
        (to++)->store(word, std::memory_order_release);
    }
}

void load_words(void* to, const RingWord* from, size_t bytes)
{
    char* const target = static_cast<char*>(to);
    for (size_t done = 0; done < bytes; done += sizeof(RingWord))
    {
        const uint64_t word = (from++)->load(std::memory_order_acquire);
        std::memcpy(target + done, &word, std::min(sizeof word, bytes - done));
    }
}

uint64_t check_of(const char* bytes, size_t size)
{
    constexpr uint64_t prime = 0x9E3779B97F4A7C15u; // any odd number whose set bits are spread out
    constexpr int turn = 29;
    uint64_t sum = size;
    for (size_t done = 0; done < size; done += sizeof sum)
    {
        uint64_t word = 0;
        std::memcpy(&word, bytes + done, std::min(sizeof word, size - done));
        sum = std::rotl((sum ^ word) * prime, turn);
    }
    return sum;
}

RingItemHead head_of(const RingItemView& item)
{
    RingItemHead head{};
    head.kind = item.kind;
    head.time = item.time;
    head.since = item.since;
    head.process = item.process;
    head.name_size = static_cast<uint16_t>(std::min(item.name.size(), longest_ring_name));
    head.text_size = static_cast<uint16_t>(std::min(item.text.size(), longest_ring_text));
    const size_t bytes = sizeof head + head.name_size + head.text_size;
    head.size = static_cast<uint32_t>((bytes + sizeof(RingWord) - 1) & ~(sizeof(RingWord) - 1));
    return head;
}

} // namespace trace

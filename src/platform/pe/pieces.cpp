#include "pieces.h"

#include <algorithm>

namespace platform::pe
{

namespace
{

constexpr uint8_t zeros[4096] = {};

} // namespace

void Pieces::put(Bytes bytes)
{
    if (bytes.size() == 0)
        return;
    m_pieces.push_back(bytes);
    m_size += bytes.size();
}

void Pieces::put_zeros(uint64_t count)
{
    for (; count > 0; count -= std::min<uint64_t>(count, sizeof zeros))
        put({zeros, std::min<uint64_t>(count, sizeof zeros)});
}

std::vector<uint8_t>& Pieces::own(uint64_t size)
{
    return m_owned.emplace_back(size);
}

} // namespace platform::pe

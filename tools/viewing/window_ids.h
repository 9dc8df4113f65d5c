// A set of window ids; there may be thousands, and each record is looked up.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace trace
{

class WindowIds
{
public:
    WindowIds() = default;
    WindowIds(std::initializer_list<int32_t> ids)
    {
        for (const int32_t id : ids)
            insert(id);
    }

    void insert(int32_t id)
    {
        const auto place = std::lower_bound(m_ids.begin(), m_ids.end(), id);
        if (place == m_ids.end() || *place != id)
            m_ids.insert(place, id);
    }
    void erase(int32_t id) { std::erase(m_ids, id); }
    bool contains(int32_t id) const { return std::binary_search(m_ids.begin(), m_ids.end(), id); }

    bool empty() const { return m_ids.empty(); }
    size_t size() const { return m_ids.size(); }
    auto begin() const { return m_ids.begin(); } // ascending
    auto end() const { return m_ids.end(); }
    bool operator==(const WindowIds&) const = default;

private:
    std::vector<int32_t> m_ids;
};

} // namespace trace

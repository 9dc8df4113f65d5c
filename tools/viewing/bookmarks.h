// Records that the user has marked, by their numbers. A mark stays as long as its record is kept,
// whatever the filter shows.
#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include "view.h"

namespace trace
{

class Bookmarks
{
public:
    void toggle(uint64_t number);
    bool has(uint64_t number) const { return m_numbers.contains(number); }
    size_t size() const { return m_numbers.size(); }

    // Drops the marks of records before this one, which are no longer kept.
    void trim(uint64_t first);

    // The next mark after the number, or the one before it, whose record the view shows; after the
    // last the first follows. Without a number: the first, or the last. Nothing if none is shown.
    std::optional<uint64_t> next(const View& view, std::optional<uint64_t> from) const;
    std::optional<uint64_t> previous(const View& view, std::optional<uint64_t> from) const;

private:
    std::set<uint64_t> m_numbers;
};

} // namespace trace

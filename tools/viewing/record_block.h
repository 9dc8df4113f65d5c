// Records packed one behind the other in one piece of memory: heads and texts from its start, where
// each begins from its end. A name that many of them have is there once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "pages.h"
#include "record.h"

namespace trace
{

class RecordBlock
{
public:
    // Has room for `bytes`, or for this record if it needs more.
    RecordBlock(size_t bytes, const RecordView& record);

    // False if there is no room for it.
    bool append(const RecordView& record);
    // No record comes any more: what only append needs goes.
    void seal();

    // Empty again, with its memory.
    void clear();

    size_t capacity() const { return m_pages.bytes(); }
    size_t size() const { return m_count; }
    RecordView operator[](size_t index) const;

    // What the records up to this one take up, names and all.
    size_t bytes_before(size_t index) const;
    size_t bytes() const { return m_used + m_count * sizeof(uint32_t); }
    // At least what the record takes up in any block.
    static size_t most_bytes(const RecordView& record);

private:
    uint32_t offset_of(size_t index) const;
    uint32_t name_at(std::string_view name);

    Pages m_pages;
    size_t m_used = 0;
    size_t m_count = 0;
    uint32_t m_last_name = 0; // where the last record's is
    std::unordered_map<std::string, uint32_t> m_names;
};

} // namespace trace

// Records packed one after the other in one piece of memory: heads and texts from its start; from
// its end the places where each begins. A name that many records share is stored once.
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

    // False if there is no room for the record.
    bool append(const RecordView& record);
    // No more records come: frees what only append needs, and the memory that is left over.
    void seal();

    // Removes the records but keeps the memory.
    void clear();

    size_t capacity() const { return m_pages.bytes(); }
    size_t size() const { return m_count; }
    RecordView operator[](size_t index) const;

    // The memory of all records before this one, with names and overhead.
    size_t bytes_before(size_t index) const;
    size_t bytes() const { return m_used + m_count * sizeof(uint32_t) + m_rest; }
    // The most memory that the record takes in any block.
    static size_t most_bytes(const RecordView& record);

private:
    uint32_t offset_of(size_t index) const;
    uint32_t name_at(std::string_view name);

    Pages m_pages;
    size_t m_used = 0;
    size_t m_count = 0;
    size_t m_rest = 0;        // of a sealed block: unused bytes that may be resident
    uint32_t m_last_name = 0; // where the last record's name is
    std::unordered_map<std::string, uint32_t> m_names;
};

} // namespace trace

// One row of a list view, in one block of memory: a list may have a million of them.
//
// The block holds the texts of the cells one after the other, each with its terminator; cells after
// the last one with a text are not stored. So a cell costs two bytes beside its text, and a row the
// header, the pointer to it and the allocator's overhead.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "windef.h"

namespace platform
{

struct ListCell
{
    const wchar_t* text; // terminated
    size_t length;
};

class ListRow
{
public:
    // Returns false, and changes nothing, without memory.
    bool set_cell(size_t column, const wchar_t* text, size_t length);
    bool set_param(LPARAM param);
    // Cells after the column move one on, or one back.
    bool insert_cell(size_t column);
    void remove_cell(size_t column);

    ListCell cell(size_t column) const;
    LPARAM param() const { return m_block ? m_block->param : 0; }

private:
    struct Block
    {
        LPARAM param;
        uint32_t cells;
        uint32_t units; // of all texts, with their terminators
        wchar_t* texts() { return reinterpret_cast<wchar_t*>(this + 1); }
    };
    static_assert(sizeof(Block) == 16);
    struct Free
    {
        void operator()(Block* block) const { std::free(block); }
    };

    // The start of the cell; the end of the texts for a cell that is not stored.
    size_t start_of(size_t column) const;
    // Changes the number of units at the place from before to after.
    bool reshape(size_t place, size_t before, size_t after);

    std::unique_ptr<Block, Free> m_block; // null: an empty row
};

static_assert(sizeof(ListRow) == sizeof(void*));

} // namespace platform

#include "list_row.h"

#include <algorithm>
#include <cstring>

#include "system/text.h"

namespace platform
{

size_t ListRow::start_of(size_t column) const
{
    if (!m_block)
        return 0;
    if (column >= m_block->cells)
        return m_block->units;
    size_t place = 0;
    for (; column > 0; --column)
        place += wide_length(m_block->texts() + place) + 1;
    return place;
}

bool ListRow::reshape(size_t place, size_t before, size_t after)
{
    const size_t units = m_block ? m_block->units : 0;
    const size_t wanted = units - before + after;
    if (wanted > UINT32_MAX)
        return false;
    if (after > before || !m_block)
    {
        void* const grown = std::realloc(m_block.get(), sizeof(Block) + wanted * sizeof(wchar_t));
        if (!grown)
            return false;
        const bool fresh = !m_block;
        static_cast<void>(m_block.release());
        m_block.reset(static_cast<Block*>(grown));
        if (fresh)
            *m_block = {};
    }
    wchar_t* const texts = m_block->texts();
    std::memmove(texts + place + after, texts + place + before,
                 (units - place - before) * sizeof(wchar_t));
    m_block->units = static_cast<uint32_t>(wanted);
    return true;
}

bool ListRow::set_cell(size_t column, const wchar_t* text, size_t length)
{
    const size_t cells = m_block ? m_block->cells : 0;
    const size_t place = start_of(column);
    if (column < cells)
    {
        const size_t before = wide_length(m_block->texts() + place);
        if (!reshape(place, before, length))
            return false;
        std::copy_n(text, length, m_block->texts() + place);
        return true;
    }
    if (length == 0) // an empty cell counts as none
        return true;
    const size_t gap = column - cells; // empty cells before it: a terminator each
    if (!reshape(place, 0, gap + length + 1))
        return false;
    wchar_t* const to = m_block->texts() + place;
    std::fill_n(to, gap, L'\0');
    std::copy_n(text, length, to + gap);
    to[gap + length] = L'\0';
    m_block->cells = static_cast<uint32_t>(column + 1);
    return true;
}

bool ListRow::set_param(LPARAM param)
{
    if (!m_block && (param == 0 || !reshape(0, 0, 0)))
        return param == 0;
    m_block->param = param;
    return true;
}

bool ListRow::insert_cell(size_t column)
{
    if (!m_block || column >= m_block->cells)
        return true;
    const size_t place = start_of(column);
    if (!reshape(place, 0, 1))
        return false;
    m_block->texts()[place] = L'\0';
    ++m_block->cells;
    return true;
}

void ListRow::remove_cell(size_t column)
{
    if (!m_block || column >= m_block->cells)
        return;
    const size_t place = start_of(column);
    reshape(place, wide_length(m_block->texts() + place) + 1, 0); // smaller: can't fail
    --m_block->cells;
}

ListCell ListRow::cell(size_t column) const
{
    if (!m_block || column >= m_block->cells)
        return {L"", 0};
    const wchar_t* const text = m_block->texts() + start_of(column);
    return {text, wide_length(text)};
}

} // namespace platform

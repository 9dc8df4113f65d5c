// The list's rows as a table: columns as wide as the shown texts need.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "full_screen/characters.h"
#include "full_screen/line_painter.h"
#include "full_screen/palette.h"
#include "record.h"

namespace trace::full_screen
{

// A part of a record in its column.
struct Cell
{
    std::string fact{};       // number, time, writer and so on
    std::string_view field{}; // instead of a fact, a part of the shown text
    bool is_field = false;
    bool is_right_aligned = false;
};

// What is marked in all rows.
struct Marking
{
    std::vector<Pattern> patterns{}; // where two overlap, the first one counts
    std::vector<chtype> styles{};    // of each pattern
    bool has_hits = false;           // the first pattern is that of the search
};

// Can't be moved or copied: some of its texts are parts of others.
struct TableRow
{
    TableRow() = default;
    TableRow(const TableRow&) = delete;
    TableRow& operator=(const TableRow&) = delete;

    std::vector<Cell> cells{};
    std::string storage{};
    std::string_view text{}; // the shown text: part of the record, or of the storage
    bool is_loss = false;
    bool is_selected = false;
    bool is_bookmarked = false;
};

class RowTable
{
public:
    RowTable(Characters& characters, const Palette& palette)
        : m_characters(characters), m_palette(palette)
    {
    }

    // The columns, each with its heading. If they change, their widths start again.
    void set_headings(std::vector<std::string> headings);

    // Makes the columns wide enough for the row. Widths only grow, so that nothing jumps about.
    void measure(const TableRow& row);

    void draw_heading(LinePainter& painter) const;
    void draw(LinePainter& painter, const TableRow& row, const Marking& marking) const;

private:
    void draw_fact(LinePainter& painter, const Cell& cell, size_t width, chtype style) const;

    Characters& m_characters;
    const Palette& m_palette;
    std::vector<std::string> m_headings;
    std::vector<size_t> m_widths;
};

} // namespace trace::full_screen

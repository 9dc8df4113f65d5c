// Which records of a view are on the screen, and which of them is selected.
//
// The place is a record, by its number, and its line on the screen. So the place stays when rows
// are added, when old records are removed, and when the filter changes: if the record itself isn't
// shown, the nearest one is in its line, until the record is shown again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "view.h"

namespace trace::full_screen
{

class Place
{
public:
    struct Shown
    {
        size_t top = 0;      // row in the first line
        size_t selected = 0; // row
        size_t count = 0;    // rows on the screen; 0: none, and none is selected
    };

    Shown shown(const View& view, size_t height) const;

    // The selected record; nothing if there are no rows.
    std::optional<uint64_t> selected(const View& view) const;
    // The record around which a filter is changed.
    std::optional<uint64_t> anchor() const { return m_follows ? std::nullopt : m_number; }

    // Moves the selection; the rows only move as far as needed to show it.
    void move(const View& view, size_t height, ptrdiff_t rows);
    // Moves the rows, and the selection with them.
    void scroll(const View& view, size_t height, ptrdiff_t rows);
    // Selects a record. If it is not visible, it is shown in the middle.
    void go_to(const View& view, size_t height, uint64_t number);
    void go_to_line(const View& view, size_t height, size_t line);

    // Whether the newest row is selected, and shown in the last line.
    bool follows() const { return m_follows; }
    void set_follows(const View& view, size_t height, bool wanted);

private:
    void keep(const View& view, size_t row, size_t line);

    std::optional<uint64_t> m_number;
    size_t m_line = 0;
    bool m_follows = true;
};

} // namespace trace::full_screen

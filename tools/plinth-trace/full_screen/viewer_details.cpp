// The selected record as a whole, below the list: its facts, and its text with line breaks,
// wrapped.
#include "full_screen/curses.h"
#include "full_screen/line_painter.h"
#include "full_screen/viewer.h"
#include "text.h"

namespace trace::full_screen
{

namespace
{

std::string facts_of(const RecordView& record, uint64_t number)
{
    std::string text = " record " + std::to_string(number + 1);
    if (record.time != unknown_time)
        text += ", " + local_text(record.time);
    if (record.process != 0)
        text += ", process " + std::to_string(record.process) + " " +
                printable_name(record.name.empty() ? "?" : record.name);
    if (record.window != no_window)
        text += ", window " + std::to_string(record.window);
    return text;
}

// Takes the first line off a text.
std::string_view take_line(std::string_view& text)
{
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

} // namespace

void Viewer::draw_details(const Layout& layout)
{
    const std::optional<uint64_t> number = m_place.selected(m_view);
    if (!number)
        return draw_line(layout.details_at, " no record", m_palette.heading());
    const RecordView record = m_view.store()[*number];
    draw_line(layout.details_at, facts_of(record, *number), m_palette.heading());
    const size_t end = layout.details_at + layout.details;
    size_t line = layout.details_at + 1;
    for (std::string_view rest = record.text; line < end && !rest.empty();)
    {
        const std::string_view text = take_line(rest);
        size_t columns = 0;
        size_t skip = 0;
        do
        {
            LinePainter painter(m_characters, static_cast<int>(line++), layout.columns, skip);
            painter.put(text, A_NORMAL);
            columns = painter.column();
            skip += layout.columns;
        } while (line < end && columns >= skip + 1);
    }
}

} // namespace trace::full_screen

#include "record_delegate.h"

#include <algorithm>

#include <QApplication>
#include <QPainter>

#include "colours.h"
#include "record_model.h"

namespace trace_window
{

namespace
{

constexpr qsizetype most_drawn = 1'000; // characters of a cell: more than a screen is wide
constexpr size_t most_marks = 200;      // in one cell

// The number of UTF-16 units that this UTF-8 takes.
int unitsOf(std::string_view utf8)
{
    return static_cast<int>(
        QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).size());
}

} // namespace

void RecordDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (option->text.size() > most_drawn)
        option->text = option->text.left(most_drawn) + u'\u2026';
}

QList<QTextLayout::FormatRange> RecordDelegate::marks(const QString& text) const
{
    QList<QTextLayout::FormatRange> marks;
    if (!m_pattern || text.isEmpty())
        return marks;
    QTextCharFormat format;
    format.setBackground(QColor(hit_ground));
    format.setForeground(QColor(hit_text));
    const std::string utf8 = text.toStdString();
    const std::string_view whole = utf8;
    trace::Span span;
    for (size_t at = 0; at <= whole.size(); at = std::max(span.end, span.start + 1))
    {
        if (static_cast<size_t>(marks.size()) >= most_marks ||
            m_pattern->find(whole, at, span) != trace::Found::yes)
            break;
        if (span.start < span.end)
            marks += {unitsOf(whole.substr(0, span.start)),
                      unitsOf(whole.substr(span.start, span.end - span.start)), format};
    }
    return marks;
}

void RecordDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const
{
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    const auto found = index.column() >= RecordModel::first_field
                           ? marks(cell.text)
                           : QList<QTextLayout::FormatRange>();
    if (found.isEmpty())
        return QStyledItemDelegate::paint(painter, option, index);

    const QStyle& style = cell.widget ? *cell.widget->style() : *QApplication::style();
    const QRect room = style.subElementRect(QStyle::SE_ItemViewItemText, &cell, cell.widget);
    const int margin = style.pixelMetric(QStyle::PM_FocusFrameHMargin, &cell, cell.widget) + 1;
    const QString text =
        cell.fontMetrics.elidedText(cell.text, Qt::ElideRight, room.width() - 2 * margin);
    const bool isSelected = cell.state & QStyle::State_Selected;
    cell.text.clear();
    style.drawControl(QStyle::CE_ItemViewItem, &cell, painter, cell.widget); // the background
    QTextLayout layout(text, cell.font);
    QList<QTextLayout::FormatRange> seen;
    for (QTextLayout::FormatRange mark : found)
        if (mark.start < text.size())
        {
            mark.length = std::min(mark.length, static_cast<int>(text.size()) - mark.start);
            seen += mark;
        }
    layout.setFormats(seen);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    const QPointF place(room.left() + margin,
                        room.top() + (room.height() - layout.boundingRect().height()) / 2);
    painter->save();
    painter->setClipRect(room);
    painter->setPen(cell.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text));
    layout.draw(painter, place);
    painter->restore();
}

} // namespace trace_window

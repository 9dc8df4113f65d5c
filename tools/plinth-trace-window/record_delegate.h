// Draws the cells of a table of records: cuts long texts and marks the hits of a search.
#pragma once

#include <optional>
#include <vector>

#include <QStyledItemDelegate>
#include <QTextLayout>

#include "pattern.h"

namespace trace_window
{

class RecordDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // What to mark; without a pattern nothing is marked.
    void setPattern(std::optional<trace::Pattern> pattern) { m_pattern = std::move(pattern); }

    // The places that `paint` marks in a text, in UTF-16 units.
    QList<QTextLayout::FormatRange> marks(const QString& text) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    std::optional<trace::Pattern> m_pattern;
};

} // namespace trace_window

// Draws the cells of a table of records: long texts cut, and what a search has found marked.
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

    // What is marked; nothing without.
    void setPattern(std::optional<trace::Pattern> pattern) { m_pattern = std::move(pattern); }

    // The places that are marked in a text, in UTF-16 units: what `paint` colours.
    QList<QTextLayout::FormatRange> marks(const QString& text) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    std::optional<trace::Pattern> m_pattern;
};

} // namespace trace_window

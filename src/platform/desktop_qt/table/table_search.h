// Searches for a text in the cells of a model, row by row and once around, in slices between which
// the application handles its events: a million rows must not block the window.
//
// Rows may be added and removed meanwhile. The search continues at the same row number, so if rows
// before its place are removed it may skip some; rows added after its place are searched.
#pragma once

#include <QAbstractItemModel>
#include <QPointer>
#include <QStringMatcher>
#include <QTimer>

namespace qt_table
{

enum class Direction
{
    next,
    previous
};

class TableSearch : public QObject
{
    Q_OBJECT

public:
    explicit TableSearch(QObject* parent = nullptr);

    // Ends a running search without an answer. A number past the last row means the other end of
    // the table.
    void start(QAbstractItemModel* model, const QStringMatcher& text, Direction direction,
               int from);
    void stop();

signals:
    void found(int row, int column, bool wrapped);
    void notFound();

private:
    void runSlice();
    int columnWithText(int row) const; // -1 if there is none

    QPointer<QAbstractItemModel> m_model;
    QStringMatcher m_text;
    Direction m_direction = Direction::next;
    int m_row = 0;
    int m_left = 0; // rows to look at
    bool m_wrapped = false;
    QTimer m_nextSlice;
};

} // namespace qt_table

// Looks for a text in the cells of a model, row by row and once around, in slices between which the
// application handles its events: a million rows must not stop the window.
//
// Rows may come and go meanwhile. The search goes on at the same numbers, so that rows that are
// taken out before its place can make it pass over some; rows that came behind are looked at.
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

    // Ends what was under way without an answer. Numbers past an end of the table mean the other
    // end.
    void start(QAbstractItemModel* model, const QStringMatcher& text, Direction direction,
               int from);
    void stop();

signals:
    void found(int row, int column, bool wrapped);
    void notFound();

private:
    void runSlice();
    int columnWithText(int row) const; // -1 without

    QPointer<QAbstractItemModel> m_model;
    QStringMatcher m_text;
    Direction m_direction = Direction::next;
    int m_row = 0;
    int m_left = 0; // rows to look at
    bool m_wrapped = false;
    QTimer m_nextSlice;
};

} // namespace qt_table

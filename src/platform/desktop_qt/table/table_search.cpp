#include "table_search.h"

#include <QElapsedTimer>

namespace qt_table
{

namespace
{

constexpr qint64 slice = 10;           // ms
constexpr int rows_between_looks = 64; // between two looks at the clock

} // namespace

TableSearch::TableSearch(QObject* parent) : QObject(parent)
{
    m_nextSlice.setSingleShot(true);
    connect(&m_nextSlice, &QTimer::timeout, this, &TableSearch::runSlice);
}

void TableSearch::start(QAbstractItemModel* model, const QStringMatcher& text, Direction direction,
                        int from)
{
    stop();
    m_model = model;
    m_text = text;
    m_direction = direction;
    const int rows = model ? model->rowCount() : 0;
    m_row = from;
    m_left = rows;
    m_wrapped = false;
    if (direction == Direction::next && from >= rows)
    {
        m_row = 0;
        m_wrapped = rows > 0;
    }
    else if (direction == Direction::previous && from >= rows)
    {
        m_row = rows - 1;
        m_wrapped = rows > 0;
    }
    runSlice();
}

void TableSearch::stop()
{
    m_nextSlice.stop();
    m_model = nullptr;
}

int TableSearch::columnWithText(int row) const
{
    const int columns = m_model->columnCount();
    for (int column = 0; column < columns; ++column)
        if (m_text.indexIn(m_model->index(row, column).data().toString()) >= 0)
            return column;
    return -1;
}

void TableSearch::runSlice()
{
    QElapsedTimer spent;
    spent.start();
    const int rows = m_model ? m_model->rowCount() : 0;
    m_row = qMin(m_row, rows - 1);
    for (int looked = 0; rows > 0 && m_left > 0; --m_left)
    {
        if (++looked % rows_between_looks == 0 && spent.elapsed() >= slice)
        {
            m_nextSlice.start(0);
            return;
        }
        if (const int column = columnWithText(m_row); column >= 0)
        {
            const bool wrapped = m_wrapped;
            const int row = m_row;
            stop();
            emit found(row, column, wrapped);
            return;
        }
        m_row += m_direction == Direction::next ? 1 : -1;
        if (m_row < 0 || m_row >= rows)
        {
            m_row = m_row < 0 ? rows - 1 : 0;
            m_wrapped = true;
        }
    }
    stop();
    emit notFound();
}

} // namespace qt_table

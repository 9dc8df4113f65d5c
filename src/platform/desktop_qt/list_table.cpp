#include "list_table.h"

#include <QHeaderView>
#include <QTableView>

namespace desktop_qt
{

namespace
{

constexpr qint64 least_pause = 30; // ms between two looks at the list

} // namespace

ListTable::ListTable(HWND list, QWidget* parent) : TraceTable(parent), m_model(list, nullptr)
{
    m_take.setSingleShot(true);
    connect(&m_take, &QTimer::timeout, this, &ListTable::takeChanges);
    connect(&m_model, &ListTableModel::widthGiven, this,
            [this](int column, int width)
            { view()->horizontalHeader()->resizeSection(column, width); });
    setModel(&m_model);
    takeChanges();
}

void ListTable::noticeChanges()
{
    if (!m_take.isActive())
        m_take.start(static_cast<int>(qMax<qint64>(0, least_pause - m_sinceTaken.elapsed())));
}

void ListTable::takeChanges()
{
    m_sinceTaken.start();
    const int wanted = m_model.takeChanges();
    if (wanted >= 0 && isFollowing()) // doesn't disturb a user who has scrolled
        view()->scrollTo(m_model.index(wanted, 0));
}

} // namespace desktop_qt

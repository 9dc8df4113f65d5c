// Makes columns as wide as the visible rows need. Columns only grow, so that nothing jumps about; a
// column that the user has resized keeps its width.
#pragma once

#include <array>
#include <map>
#include <set>

#include <QObject>

QT_BEGIN_NAMESPACE
class QTableView;
QT_END_NAMESPACE

namespace trace_window
{

class ColumnWidths : public QObject
{
    Q_OBJECT

public:
    explicit ColumnWidths(QTableView& view);

    // Looks at the visible rows. The last column takes the rest of the window.
    void fit();
    void forget(); // the texts have changed: starts again
    void setByUser(int column, int width);
    bool isByUser(int column) const { return m_byUser.contains(column); }

private:
    int neededWidth(int column, int first, int last) const;
    int grown(int column, int first, int last);

    QTableView& m_view;
    std::set<int> m_byUser;
    std::map<int, int> m_needed; // widths of columns that the user hasn't resized
    std::array<int, 5> m_seen{}; // visible rows (first, last), number of rows, of columns, width
    bool m_fits = false;         // this class changes the widths now, not the user
};

} // namespace trace_window

// Columns as wide as what is in sight needs. They only grow, so that nothing jumps about, and one
// that the user has made wider or narrower stays.
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

    // Looks at the rows in sight. The last column takes the rest of the window.
    void fit();
    void forget(); // the texts have changed: begins anew
    void setByUser(int column, int width);
    bool isByUser(int column) const { return m_byUser.contains(column); }

private:
    int neededWidth(int column, int first, int last) const;
    int grown(int column, int first, int last);

    QTableView& m_view;
    std::set<int> m_byUser;
    std::map<int, int> m_needed; // widths, of the others
    std::array<int, 5>
        m_seen{};        // the rows in sight, of how many, the columns and the room for them
    bool m_fits = false; // this changes the widths now, not the user
};

} // namespace trace_window

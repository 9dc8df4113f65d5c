// Which columns of a table are shown, in which order and how wide. The user chooses them in a menu
// on the headings; settings keep them.
#pragma once

#include <QObject>

#include "view_settings.h"

namespace trace_window
{

class RecordTable;

class ColumnChoice : public QObject
{
    Q_OBJECT

public:
    explicit ColumnChoice(RecordTable& table);

    void writeTo(trace::ViewSettings& settings) const;
    void apply(const trace::ViewSettings& settings);

    void setShown(int column, bool shown);
    void showMenu(const QPoint& place); // of the screen

private:
    void hideOthers(int firstColumn);

    RecordTable& m_table;
    QStringList m_wanted;  // empty: all but the delta
    int m_knownFields = 0; // at the time of the choice: later fields are shown
};

} // namespace trace_window

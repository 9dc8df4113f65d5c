// A table for rows that keep coming: a view of a model with columns, that stays at the last row
// until its user scrolls up, copies the selected rows as text, and finds text.
//
// The model belongs to who sets it and is asked for the cells that are in sight alone, so that its
// size costs little. For people who scroll, "at the last row" means that the scroll bar is at its
// end: going there, also by the End key, takes up the following again. All of it belongs to the
// thread of the application object, as every widget does. Names are Qt's way here.
#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include "find_bar.h"
#include "rows_view.h"
#include "table_search.h"

QT_BEGIN_NAMESPACE
class QAbstractItemModel;
class QBoxLayout;
class QMenu;
QT_END_NAMESPACE

namespace qt_table
{

class TraceTable : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(bool following READ isFollowing WRITE setFollowing NOTIFY followingChanged)

public:
    explicit TraceTable(QWidget* parent = nullptr);
    ~TraceTable() override;

    void setModel(QAbstractItemModel* model); // null takes it away
    QAbstractItemModel* model() const;
    RowsView* view() const { return m_view; }
    FindBar* findBar() const { return m_find; }

    bool isFollowing() const { return m_following; }
    void setFollowing(bool following);

    // The cells of the selected rows: tabs between them, a line feed behind each row but the last.
    // Columns stand as they do on the screen; hidden ones are left out.
    QString selectedText() const;
    // Selects the row and brings it in sight; the table follows on if it is the last one.
    Q_INVOKABLE void goToRow(int row, int column = 0);

    // Places for widgets of one's own, which the table takes over: above the rows, and between them
    // and the scroll bar's edge of the window.
    void putAbove(QWidget* widget);
    void putBeside(QWidget* widget);

public slots:
    void copySelection(); // to the clipboard; nothing if no row is selected
    void showFindBar();
    // The answer comes as findEnded, since a long table is searched bit by bit.
    void findNext();
    void findPrevious();

signals:
    void followingChanged(bool following);
    // Wrapped: the search passed the end of the table, or its beginning.
    void findEnded(bool found, bool wrapped);
    // The place to add entries of one's own; the menu is the table's and goes after it was shown.
    void contextMenuAboutToShow(QMenu* menu);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

    // How the table finds, for one that knows a better way than to look into each cell. Searching
    // again is for a text that has changed; both look from the current row on.
    virtual void searchAgain(const QString& text);
    virtual void searchOn(Direction direction);
    int currentRow() const;      // -1 without
    void leaveBelow(int pixels); // between the rows and the find bar

private:
    void addCommands();
    void showMenu(const QPoint& place);
    void search(Direction direction, int from);
    void takeFound(int row, int column, bool wrapped);

    RowsView* const m_view;
    FindBar* const m_find;
    TableSearch* const m_search;
    QBoxLayout* m_rows = nullptr; // the view and what is beside it
    bool m_following = true;
    int m_typingFrom = 0; // where the search while typing begins: it must not wander with each key
};

} // namespace qt_table

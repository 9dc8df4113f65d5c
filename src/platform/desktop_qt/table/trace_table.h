// A table for rows that keep coming: it shows a model with columns, stays at the last row until the
// user scrolls up, copies the selected rows as text, and finds text.
//
// The model belongs to the caller. Only visible cells are asked for, so the size of the model costs
// little. "At the last row" means that the scroll bar is at its end: scrolling there, also by the
// End key, resumes following. Everything here belongs to the thread of the application object, as
// with all widgets. Names follow Qt's style.
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

    void setModel(QAbstractItemModel* model); // null removes the model
    QAbstractItemModel* model() const;
    RowsView* view() const { return m_view; }
    FindBar* findBar() const { return m_find; }

    bool isFollowing() const { return m_following; }
    void setFollowing(bool following);

    // The cells of the selected rows: tabs between them, a line feed after each row but the last.
    // Columns are in the order on the screen; hidden ones are left out.
    QString selectedText() const;
    // Selects the row and makes it visible; the table follows if it is the last row.
    Q_INVOKABLE void goToRow(int row, int column = 0);

    // Adds the caller's own widgets, which the table then owns: above the rows, or between the rows
    // and the window's edge.
    void putAbove(QWidget* widget);
    void putBeside(QWidget* widget);

public slots:
    void copySelection(); // to the clipboard; nothing if no row is selected
    void showFindBar();
    // findEnded reports the result, since a long table is searched step by step.
    void findNext();
    void findPrevious();

signals:
    void followingChanged(bool following);
    // wrapped: the search passed the end of the table, or its beginning.
    void findEnded(bool found, bool wrapped);
    // Lets the caller add entries; the table owns the menu and destroys it after showing it. place:
    // of the mouse, or of the current row for the menu key, in the view's viewport.
    void contextMenuAboutToShow(QMenu* menu, const QPoint& place);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

    // How the table searches; overridden by a table that has a better way than to look into each
    // cell. searchAgain is for a changed text; both search from the current row on.
    virtual void searchAgain(const QString& text);
    virtual void searchOn(Direction direction);
    int currentRow() const;      // -1 if there is none
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
    int m_typingFrom = 0; // where the search while typing begins: it must not move with each key
};

} // namespace qt_table

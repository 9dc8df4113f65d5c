// The table of one view: a TraceTable of records. It searches while the user types, marks all hits,
// keeps the chosen record in its place when the filter changes, and fits its columns.
#pragma once

#include <optional>

#include "column_widths.h"
#include "record_delegate.h"
#include "record_model.h"
#include "search.h"
#include "table/trace_table.h"

namespace trace_window
{

class HitMarks;

class RecordTable : public qt_table::TraceTable
{
    Q_OBJECT

public:
    // The session outlives the table.
    explicit RecordTable(Session& session, QWidget* parent = nullptr);
    ~RecordTable() override;

    RecordModel& rows() const { return *m_rows; }
    HitMarks& hitMarks() const { return *m_marks; }
    const trace::Search& found() const { return m_found; }
    ColumnWidths& widths() const { return *m_widths; }
    const RecordDelegate& delegate() const { return *m_delegate; }

    // Shows new records and continues the search, for about this long. Returns which part of the
    // records has been examined, from 0 to 1.
    double advance(Session::Clock::duration longest);

    // The chosen record, or the nearest one, stays in its place on the screen.
    void setFilter(trace::Filter filter);
    void setStyle(RowStyle style);
    void setRowFont(const QFont& font);

    // The record that the user chose last, if it is still kept.
    std::optional<uint64_t> chosen() const;
    // Chooses the record, or the nearest one that is shown, and scrolls it to the middle.
    void choose(uint64_t number);
    // Shows the neighbours of a record that was chosen elsewhere.
    void showNear(uint64_t number);

    // The text of the search, as the user typed it.
    QString searchText() const;
    void search(const QString& text);

    // The row and the word under the context menu.
    std::optional<int> menuRow() const;
    QString menuWord() const;

signals:
    void recordChosen(quint64 number); // by the user

protected:
    void searchAgain(const QString& text) override;
    void searchOn(qt_table::Direction direction) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // The record that stays visible, and how many rows below the top.
    struct Place
    {
        uint64_t number = 0;
        int line = 0;
        bool isChosen = false;
    };
    Place place() const;
    void goTo(const Place& place);
    void makeCurrent(int row);
    void takeCurrent(const QModelIndex& current);
    void dropCurrent(int rows);
    std::optional<trace::Pattern> patternOf(const QString& text);
    void jump();
    void showFound();
    void fitHeight();

    RecordModel* const m_rows;
    RecordDelegate* const m_delegate;
    trace::Search m_found;
    HitMarks* m_marks = nullptr;
    ColumnWidths* m_widths = nullptr;

    // A search moves to its first hit as soon as that is known.
    struct Jump
    {
        qt_table::Direction direction;
        uint64_t from; // the hit is not before it, or not after it
    };
    std::optional<Jump> m_jump;
    uint64_t m_typedAt = 0;       // where the search while typing begins
    std::optional<Place> m_place; // kept while a changed filter is being applied
    std::optional<uint64_t> m_chosen;
    bool m_placing = false;     // the program changes the current row, not the user
    bool m_saidNothing = false; // "nothing found" is shown
    int m_below = 0;            // pixels that are left free below the rows
    QPoint m_menuPlace;
};

} // namespace trace_window

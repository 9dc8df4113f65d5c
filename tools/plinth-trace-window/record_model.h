// The rows of one view: number, time, process and so on, then the record's tab-separated fields.
//
// Rows are added and removed in batches, when update is called: at the bottom, and also at the top
// while a changed filter is applied to the records.
#pragma once

#include <QAbstractTableModel>
#include <QPalette>

#include "record_columns.h"
#include "session.h"
#include "view.h"

namespace trace_window
{

// How the rows of one view look.
struct RowStyle
{
    trace::Highlights highlights{};
    std::vector<uint32_t> colours{}; // of the highlights, 0xRRGGBB
    bool byProcess = false;          // a background for each process, where there is no highlight
    trace::TextForm form = trace::TextForm::plain;
};

class RecordModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column
    {
        number_column,
        time_column,
        delta_column,
        process_column,
        window_column,
        first_field,
    };

    // The session outlives the model.
    RecordModel(Session& session, trace::Filter filter, QObject* parent = nullptr);
    ~RecordModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // The name of a column in settings, such as "process", and the column of a name; -1 if there is
    // none. Fields are named "1" and on.
    static QString nameOf(int column);
    static int columnOf(const QString& name);

    // Shows new records, for at most this long; false if more are to be examined.
    bool update(Session::Clock::duration longest);
    // Starts again from the record `anchor` outward; its first rows are shown at once.
    void setFilter(trace::Filter filter, uint64_t anchor);
    void setPaused(bool paused);
    void cleared();  // the store was cleared
    void restyled(); // times or bookmarks have changed
    void setStyle(RowStyle style);
    const RowStyle& style() const { return m_style; }
    void setPalette(const QPalette& palette);
    // The record from which deltas count.
    void setChosen(uint64_t number);

    const trace::View& view() const { return m_view; }
    uint64_t number(int row) const { return m_view.number(static_cast<size_t>(row)); }
    // Whether the row's record is still kept; the next update removes the other rows.
    bool isKept(int row) const;
    trace::RecordView record(int row) const { return m_view.record(static_cast<size_t>(row)); }
    uint64_t takeMissed() { return m_view.take_missed(); }

signals:
    // The number of rows at the top whose records are no longer kept. Sent before
    // rowsAboutToBeRemoved, because after that the selection has already moved to another row.
    void rowsAboutToBeDropped(int count);

private:
    // What the cells of a row have in common: the cells are asked for one after the other.
    struct RowParts
    {
        uint64_t number = UINT64_MAX;
        std::string text;
        trace::Fields fields{{}};
        std::optional<size_t> highlight;
    };
    const RowParts& parts(int row) const;
    QString text(int row, int column) const;
    QVariant background(int row) const;
    QVariant foreground(int row) const;
    void forgetParts();
    void setRows(int rows);
    void addRows(int first, int count);
    void addFields(int first, int count);

    Session& m_session;
    trace::View m_view;
    RowStyle m_style;
    QPalette m_palette;
    trace::Time m_chosen = trace::unknown_time;
    int m_rows = 0; // rows that were announced to the table
    int m_fields = 1;
    size_t m_use = 0; // bytes that the store counts
    mutable RowParts m_parts;
};

} // namespace trace_window

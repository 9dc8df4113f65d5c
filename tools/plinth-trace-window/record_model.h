// The rows of one tab: number, time, process, then the record's tab-separated fields.
//
// Rows come and go in batches, when update is called. A change of the filter empties the model, and
// the next updates fill it, bit by bit.
#pragma once

#include <QAbstractTableModel>

#include "session.h"
#include "view.h"

namespace trace_window
{

class RecordModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column
    {
        NumberColumn,
        TimeColumn,
        ProcessColumn,
        FirstField,
    };

    // The session outlives the model.
    RecordModel(Session& session, trace::Filter filter, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Shows what is new; false if more is to be examined than fits in one go.
    bool update();
    void setFilter(trace::Filter filter);
    void setPaused(bool paused);
    void cleared();  // the store was
    void restyled(); // times, highlights or bookmarks have changed

    const trace::View& view() const { return m_view; }
    uint64_t takeMissed() { return m_view.take_missed(); }

private:
    QString text(const trace::RecordView& record, int row, int column) const;

    Session& m_session;
    trace::View m_view;
    int m_rows = 0; // those that were announced
    int m_fields = 7;
};

} // namespace trace_window

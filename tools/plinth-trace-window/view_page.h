// One view: its fields, the strip, the table. What it shows can be read as settings, and set from
// settings.
#pragma once

#include <QWidget>

#include "filter_bar.h"
#include "record_table.h"
#include "timeline_strip.h"

QT_BEGIN_NAMESPACE
class QMenu;
QT_END_NAMESPACE

namespace trace_window
{

class ColumnChoice;

class ViewPage : public QWidget
{
    Q_OBJECT

public:
    // The session outlives the page. common: what holds for all views, from the program's options.
    ViewPage(Session& session, trace::Filter common, const QString& name);

    QString name() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    // A view that the window made for a window id and the user hasn't changed: it is not saved.
    bool isAutomatic() const { return m_automatic; }
    void setAutomatic(bool automatic) { m_automatic = automatic; }

    trace::ViewSettings settings() const;
    // Returns what could not be used (an invalid expression); empty on success.
    QString apply(const trace::ViewSettings& settings);
    trace::Filter filter() const;

    // Takes new records, for about this long. Returns which part of them has been examined, from 0
    // to 1.
    double advance(Session::Clock::duration longest);
    void setRaw(bool raw);
    bool isRaw() const;
    void setByProcess(bool byProcess);
    bool isByProcess() const;

    RecordTable& table() const { return *m_table; }
    FilterBar& bar() const { return *m_bar; }
    TimelineStrip& strip() const { return *m_strip; }
    ColumnChoice& columns() const { return *m_columns; }

    // Adds the commands for this record and a word of it to the table's menu.
    void addCommands(QMenu& menu, int row, const QString& word);

signals:
    void filterChanged();
    void viewAsked(const QString& name, const trace::ViewSettings& settings); // asks for a new view

private:
    void applyFilter();
    void applyStyle();
    void addForProcess(QMenu& menu, const trace::RecordView& record);
    void addForWindow(QMenu& menu, const trace::RecordView& record);
    void change(const std::function<void(trace::ViewSettings&)>& how);

    const trace::Filter m_common;
    QString m_name;
    bool m_automatic = false;
    bool m_raw = false;
    bool m_byProcess = false;
    trace::OpaqueSettings m_others; // kept for other versions of the window
    FilterBar* const m_bar;
    RecordTable* const m_table;
    TimelineStrip* const m_strip;
    ColumnChoice* m_columns = nullptr;
};

} // namespace trace_window

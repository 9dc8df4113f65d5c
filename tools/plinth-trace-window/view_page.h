// One view: its fields, the strip, the table. What it shows can be taken out of it as settings, and
// put into another one.
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
    // The session outlives the page. common: what holds for all views, by the program's options.
    ViewPage(Session& session, trace::Filter common, const QString& name);

    QString name() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    // One that the window made for a window id, which nobody has changed: not to be kept.
    bool isAutomatic() const { return m_automatic; }
    void setAutomatic(bool automatic) { m_automatic = automatic; }

    trace::ViewSettings settings() const;
    // Gives what could not be taken: an expression that is none; empty if all was.
    QString apply(const trace::ViewSettings& settings);
    trace::Filter filter() const;

    // Takes what is new, for about so long. How much of it has been examined: from 0 to 1.
    double advance(Session::Clock::duration longest);
    void setRaw(bool raw);
    bool isRaw() const;
    void setByProcess(bool byProcess);
    bool isByProcess() const;

    RecordTable& table() const { return *m_table; }
    FilterBar& bar() const { return *m_bar; }
    TimelineStrip& strip() const { return *m_strip; }
    ColumnChoice& columns() const { return *m_columns; }

    // Adds what can be done with this record, and with a word of it, as the menu of the table does.
    void addCommands(QMenu& menu, int row, const QString& word);

signals:
    void filterChanged();
    void viewAsked(const QString& name, const trace::ViewSettings& settings); // a new one

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
    trace::OpaqueSettings m_others; // what another version of the window may have kept
    FilterBar* const m_bar;
    RecordTable* const m_table;
    TimelineStrip* const m_strip;
    ColumnChoice* m_columns = nullptr;
};

} // namespace trace_window

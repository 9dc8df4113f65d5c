#include "column_choice.h"

#include <QHeaderView>
#include <QMenu>

#include "record_table.h"

namespace trace_window
{

namespace
{

constexpr const char* widths_setting = "table.widths";
constexpr const char* fields_setting = "table.fields";

constexpr int most_in_menu = 30;
constexpr int most_width = 10'000; // pixels

std::string settingOf(const trace::ViewSettings& settings, const char* name)
{
    const auto found = settings.others.find(name);
    return found == settings.others.end() ? std::string() : found->second;
}

} // namespace

ColumnChoice::ColumnChoice(RecordTable& table) : QObject(&table), m_table(table)
{
    QHeaderView* const heads = table.view()->horizontalHeader();
    connect(heads, &QHeaderView::customContextMenuRequested, this,
            [this, heads](const QPoint& place) { showMenu(heads->mapToGlobal(place)); });
    connect(&table.rows(), &QAbstractItemModel::columnsInserted, this,
            [this](const QModelIndex&, int first) { hideOthers(first); });
}

void ColumnChoice::writeTo(trace::ViewSettings& settings) const
{
    const QHeaderView& heads = *m_table.view()->horizontalHeader();
    QStringList widths;
    settings.columns.clear();
    for (int place = 0; place < heads.count(); ++place)
    {
        const int column = heads.logicalIndex(place);
        if (heads.isSectionHidden(column))
            continue;
        const QString name = RecordModel::nameOf(column);
        settings.columns.push_back(name.toStdString());
        if (m_table.widths().isByUser(column))
            widths += name + u':' + QString::number(heads.sectionSize(column));
    }
    settings.others[widths_setting] = widths.join(u' ').toStdString();
    settings.others[fields_setting] = std::to_string(heads.count() - RecordModel::first_field);
}

void ColumnChoice::apply(const trace::ViewSettings& settings)
{
    m_wanted.clear();
    for (const std::string& name : settings.columns)
        m_wanted += QString::fromStdString(name);
    m_knownFields = QString::fromStdString(settingOf(settings, fields_setting)).toInt();
    hideOthers(0);
    const QString widths = QString::fromStdString(settingOf(settings, widths_setting));
    for (const QString& each : widths.split(u' ', Qt::SkipEmptyParts))
    {
        const int column = RecordModel::columnOf(each.section(u':', 0, 0));
        const int width = each.section(u':', 1).toInt();
        if (column >= 0 && width > 0 && width < most_width)
            m_table.widths().setByUser(column, width);
    }
}

// Hides the columns from this one on that were not chosen; if all columns are new, also restores
// their order.
void ColumnChoice::hideOthers(int firstColumn)
{
    QHeaderView& heads = *m_table.view()->horizontalHeader();
    for (int column = firstColumn; column < heads.count() && !m_wanted.isEmpty(); ++column)
    {
        const bool isLater = column >= RecordModel::first_field + m_knownFields;
        heads.setSectionHidden(column, !isLater && !m_wanted.contains(RecordModel::nameOf(column)));
    }
    if (firstColumn > 0)
        return;
    int place = 0;
    for (const QString& name : m_wanted)
        if (const int column = RecordModel::columnOf(name); column >= 0 && column < heads.count())
            heads.moveSection(heads.visualIndex(column), place++);
}

void ColumnChoice::setShown(int column, bool shown)
{
    m_table.view()->setColumnHidden(column, !shown);
    trace::ViewSettings now; // from now on the user's choice is in force
    writeTo(now);
    m_wanted.clear();
    for (const std::string& name : now.columns)
        m_wanted += QString::fromStdString(name);
    m_knownFields = m_table.rows().columnCount() - RecordModel::first_field;
    m_table.widths().forget();
}

void ColumnChoice::showMenu(const QPoint& place)
{
    QMenu menu;
    const QHeaderView& heads = *m_table.view()->horizontalHeader();
    for (int column = 0; column < std::min(heads.count(), most_in_menu); ++column)
    {
        const QString head =
            m_table.rows().headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        QAction* const action =
            menu.addAction(column < RecordModel::first_field ? head : tr("Field %1").arg(head));
        action->setCheckable(true);
        action->setChecked(!heads.isSectionHidden(column));
        connect(action, &QAction::toggled, this,
                [this, column](bool shown) { setShown(column, shown); });
    }
    menu.exec(place);
}

} // namespace trace_window

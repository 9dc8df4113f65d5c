#include "record_model.h"

#include <algorithm>
#include <utility>

#include <QBrush>
#include <QFont>

#include "cell_text.h"
#include "colours.h"

namespace trace_window
{

namespace
{

using namespace std::chrono_literals;

// What the table's row header takes for each row: 8 bytes, and 4 since it still has some for half
// as many rows that were dropped.
constexpr size_t row_bytes = 12;

constexpr auto first_page_time = 15ms; // for the first rows after a filter has changed

constexpr trace::Column meta_columns[] = {trace::Column::number, trace::Column::time,
                                          trace::Column::delta, trace::Column::process,
                                          trace::Column::window};

QString fromUtf8(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

RecordModel::RecordModel(Session& session, trace::Filter filter, QObject* parent)
    : QAbstractTableModel(parent), m_session(session), m_view(session.store, std::move(filter))
{
}

RecordModel::~RecordModel()
{
    setRows(0);
}

int RecordModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int RecordModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : first_field + m_fields;
}

bool RecordModel::isKept(int row) const
{
    return number(row) >= m_session.store.first();
}

QVariant RecordModel::data(const QModelIndex& index, int role) const
{
    const int row = index.row();
    if (!index.isValid() || row >= m_rows || !isKept(row))
        return {};
    switch (role)
    {
    case Qt::DisplayRole:
        return text(row, index.column());
    case Qt::ToolTipRole:
        return tipText(record(row).text);
    case Qt::BackgroundRole:
        return background(row);
    case Qt::ForegroundRole:
        return foreground(row);
    case Qt::FontRole:
        if (record(row).is_loss() || m_session.bookmarks.has(number(row)))
        {
            QFont font;
            font.setBold(true);
            return font;
        }
        return {};
    default:
        return {};
    }
}

QVariant RecordModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    if (section < first_field)
        return fromUtf8(trace::heading_of(meta_columns[section]));
    return QString::number(section - first_field + 1);
}

QString RecordModel::nameOf(int column)
{
    if (column < first_field)
        return fromUtf8(trace::name_of(meta_columns[column]));
    return QString::number(column - first_field + 1);
}

int RecordModel::columnOf(const QString& name)
{
    for (int column = 0; column < first_field; ++column)
        if (nameOf(column) == name)
            return column;
    bool isNumber = false;
    const int field = name.toInt(&isNumber);
    const bool isField = isNumber && field > 0 && field <= static_cast<int>(trace::Fields::most);
    return isField ? first_field + field - 1 : -1;
}

bool RecordModel::update(Session::Clock::duration longest)
{
    if (const int stale = static_cast<int>(m_view.stale()); stale > 0)
    {
        emit rowsAboutToBeDropped(stale);
        beginRemoveRows({}, 0, stale - 1);
        m_view.trim();
        setRows(m_rows - stale);
        endRemoveRows();
    }
    const bool more = m_view.advance_for(longest);
    const trace::View::Added added = m_view.take_added();
    addRows(0, static_cast<int>(added.top));
    addRows(m_rows, static_cast<int>(added.bottom));
    return !more;
}

// The memory that the table takes for the rows counts as the store's, like the view's own row
// numbers.
void RecordModel::setRows(int rows)
{
    m_rows = rows;
    const size_t now = static_cast<size_t>(rows) * row_bytes;
    m_session.store.use().change(std::exchange(m_use, now), now);
}

void RecordModel::addRows(int first, int count)
{
    if (count == 0)
        return;
    beginInsertRows({}, first, first + count - 1);
    setRows(m_rows + count);
    endInsertRows();
    addFields(first, count);
}

void RecordModel::addFields(int first, int count)
{
    size_t fields = static_cast<size_t>(m_fields);
    for (int row = first; row < first + count && fields < trace::Fields::most; ++row)
        fields = std::max(fields, trace::count_fields(record(row).text));
    const int all = static_cast<int>(std::min(fields, trace::Fields::most));
    if (all == m_fields)
        return;
    beginInsertColumns({}, first_field + m_fields, first_field + all - 1);
    m_fields = all;
    endInsertColumns();
}

void RecordModel::setFilter(trace::Filter filter, uint64_t anchor)
{
    beginResetModel();
    m_view.set_filter(std::move(filter), anchor);
    m_view.advance_for(first_page_time);
    m_view.take_added();
    setRows(static_cast<int>(m_view.rows()));
    endResetModel();
    addFields(0, m_rows);
}

void RecordModel::setPaused(bool paused)
{
    if (paused)
        m_view.pause();
    else
        m_view.resume();
}

void RecordModel::cleared()
{
    beginResetModel();
    m_view.cleared();
    m_view.take_added();
    setRows(0);
    endResetModel();
}

void RecordModel::restyled()
{
    forgetParts();
    if (m_rows > 0)
        emit dataChanged(index(0, 0), index(m_rows - 1, columnCount() - 1));
}

void RecordModel::setStyle(RowStyle style)
{
    m_style = std::move(style);
    restyled();
}

void RecordModel::setPalette(const QPalette& palette)
{
    m_palette = palette;
    restyled();
}

void RecordModel::setChosen(uint64_t number)
{
    if (number < m_session.store.first() || number >= m_session.store.end())
        return;
    m_chosen = m_session.store[number].time;
    if (m_rows > 0)
        emit dataChanged(index(0, delta_column), index(m_rows - 1, delta_column));
}

void RecordModel::forgetParts()
{
    m_parts.number = UINT64_MAX;
}

const RecordModel::RowParts& RecordModel::parts(int row) const
{
    const uint64_t wanted = number(row);
    if (m_parts.number == wanted)
        return m_parts;
    const trace::RecordView shown = record(row);
    std::string storage;
    m_parts.number = wanted;
    m_parts.text = trace::text_of(shown, m_style.form, storage);
    m_parts.fields = trace::Fields(m_parts.text);
    m_parts.highlight = m_style.highlights.colour_of(shown.text);
    return m_parts;
}

QString RecordModel::text(int row, int column) const
{
    if (column >= first_field)
        return shownText(parts(row).fields[static_cast<size_t>(column - first_field)]);
    trace::ColumnStyle style{
        .time = m_session.time, .base = {.start = m_session.store.start()}, .chosen = m_chosen};
    if (column == time_column && row > 0 && isKept(row - 1))
        style.base.previous = record(row - 1).time;
    return shownText(trace::cell_text(meta_columns[column], number(row), record(row), style));
}

QVariant RecordModel::background(int row) const
{
    if (const auto highlight = parts(row).highlight;
        highlight && *highlight < m_style.colours.size())
        return QBrush(ground(m_style.colours[*highlight], m_palette));
    const trace::RecordView shown = record(row);
    if (m_style.byProcess && shown.process != 0)
        return QBrush(processGround(shown.process, m_palette));
    return {};
}

QVariant RecordModel::foreground(int row) const
{
    if (record(row).is_loss())
        return QBrush(lossText(m_palette));
    if (parts(row).highlight)
        return QBrush(textOnGround(m_palette));
    return {};
}

} // namespace trace_window

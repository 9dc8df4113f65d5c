#include "record_model.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <QBrush>
#include <QColor>
#include <QFont>
#include <QTextDocument>

#include "table/harmless.h"

namespace trace_window
{

namespace
{

constexpr size_t most_examined = 20'000; // records in one go: some milliseconds
constexpr int most_fields = 500;

// Light grounds; the seventh pattern begins again.
constexpr QRgb highlight_colours[] = {0xfffff2a8, 0xffc9f2c0, 0xffbfe6ff,
                                      0xfff6c9f5, 0xffffd0c4, 0xffd6d3ff};

int fields_of(const trace::RecordView& record)
{
    const auto tabs = std::count(record.text.begin(), record.text.end(), '\t');
    return static_cast<int>(std::min<std::ptrdiff_t>(tabs + 1, most_fields));
}

std::string_view field_of(std::string_view text, int field)
{
    for (; field > 0; --field)
    {
        const size_t tab = text.find('\t');
        if (tab == std::string_view::npos)
            return {};
        text.remove_prefix(tab + 1);
    }
    return text.substr(0, text.find('\t'));
}

// The whole text. A tip takes what looks like HTML for it, and would fetch its pictures.
QString tip(std::string_view utf8)
{
    const QString text =
        qt_table::harmless(QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())));
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

QString shown(std::string_view utf8)
{
    QString text = QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(u'\n', u' ').replace(u'\r', u' ');
    return qt_table::harmless(text);
}

} // namespace

RecordModel::RecordModel(Session& session, trace::Filter filter, QObject* parent)
    : QAbstractTableModel(parent), m_session(session), m_view(session.store, std::move(filter))
{
}

int RecordModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int RecordModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : FirstField + m_fields;
}

QVariant RecordModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows)
        return {};
    const auto row = static_cast<size_t>(index.row());
    if (m_view.number(row) < m_session.store.first())
        return {}; // gone; the next update takes the row away
    const trace::RecordView record = m_view.record(row);
    switch (role)
    {
    case Qt::DisplayRole:
        return text(record, index.row(), index.column());
    case Qt::ToolTipRole:
        return tip(record.text);
    case Qt::BackgroundRole:
        if (const std::optional<size_t> colour = m_session.highlights.colour_of(record.text))
            return QBrush(QColor(highlight_colours[*colour % std::size(highlight_colours)]));
        return {};
    case Qt::ForegroundRole:
        if (record.is_loss())
            return QBrush(QColor(0xc00000));
        if (m_session.highlights.colour_of(record.text))
            return QBrush(Qt::black); // the grounds are light, whatever the user's theme
        return {};
    case Qt::FontRole:
        if (record.is_loss() || m_session.bookmarks.has(m_view.number(row)))
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
    switch (section)
    {
    case NumberColumn:
        return QStringLiteral("#");
    case TimeColumn:
        return tr("Time");
    case ProcessColumn:
        return tr("Process");
    default:
        return QString::number(section - FirstField + 1);
    }
}

bool RecordModel::update()
{
    if (const int stale = static_cast<int>(m_view.stale()); stale > 0)
    {
        beginRemoveRows({}, 0, stale - 1);
        m_view.trim();
        m_rows -= stale;
        endRemoveRows();
    }
    const bool more = m_view.advance(most_examined);
    const int rows = static_cast<int>(m_view.rows());
    if (rows == m_rows)
        return !more;
    int fields = m_fields;
    for (int row = m_rows; row < rows; ++row)
        fields = std::max(fields, fields_of(m_view.record(static_cast<size_t>(row))));
    if (fields > m_fields)
    {
        beginInsertColumns({}, FirstField + m_fields, FirstField + fields - 1);
        m_fields = fields;
        endInsertColumns();
    }
    beginInsertRows({}, m_rows, rows - 1);
    m_rows = rows;
    endInsertRows();
    return !more;
}

void RecordModel::setFilter(trace::Filter filter)
{
    beginResetModel();
    m_view.set_filter(std::move(filter));
    m_rows = 0;
    endResetModel();
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
    m_rows = 0;
    endResetModel();
}

void RecordModel::restyled()
{
    if (m_rows > 0)
        emit dataChanged(index(0, 0), index(m_rows - 1, columnCount() - 1));
}

QString RecordModel::text(const trace::RecordView& record, int row, int column) const
{
    switch (column)
    {
    case NumberColumn:
        return QString::number(m_view.number(static_cast<size_t>(row)) + 1);
    case TimeColumn:
    {
        trace::TimeBase base{.start = m_session.store.start()};
        if (row > 0 && m_view.number(static_cast<size_t>(row) - 1) >= m_session.store.first())
            base.previous = m_view.record(static_cast<size_t>(row) - 1).time;
        return QString::fromStdString(trace::time_text(record, m_session.time, base));
    }
    case ProcessColumn:
        if (record.process == 0)
            return {};
        return QString::number(record.process) + u' ' +
               (record.name.empty() ? QStringLiteral("?") : shown(record.name));
    default:
        return shown(field_of(record.text, column - FirstField));
    }
}

} // namespace trace_window

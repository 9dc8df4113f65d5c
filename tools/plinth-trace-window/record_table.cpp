#include "record_table.h"

#include <algorithm>
#include <utility>

#include <QHeaderView>
#include <QMenu>
#include <QScopedValueRollback>
#include <QScrollBar>

#include "hit_marks.h"

namespace trace_window
{

namespace
{

constexpr int row_margin = 4; // pixels above and below a text, both together

} // namespace

RecordTable::RecordTable(Session& session, QWidget* parent)
    : TraceTable(parent), m_rows(new RecordModel(session, {}, this)),
      m_delegate(new RecordDelegate(this)), m_found(m_rows->view())
{
    setModel(m_rows);
    m_rows->setPalette(palette());
    view()->setItemDelegate(m_delegate);
    m_widths = new ColumnWidths(*view());
    m_marks = new HitMarks([this](size_t parts) { return m_found.marks(parts); });
    m_marks->hide();
    putBeside(m_marks);
    findBar()->offerExpressions();
    view()->viewport()->installEventFilter(this);
    view()->horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
    view()->setColumnHidden(RecordModel::delta_column, true);
    connect(m_marks, &HitMarks::clicked, this,
            [this](double part)
            {
                const int row = static_cast<int>(part * m_rows->rowCount());
                view()->setTopRow(row - view()->rowsInSight() / 2);
            });
    connect(findBar(), &qt_table::FindBar::closed, this, [this] { searchAgain({}); });
    connect(view()->verticalScrollBar(), &QScrollBar::sliderPressed, this,
            [this] { m_place.reset(); });
    connect(this, &TraceTable::contextMenuAboutToShow, this,
            [this](QMenu*, const QPoint& place) { m_menuPlace = place; });
    connect(view()->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &RecordTable::takeCurrent);
    connect(m_rows, &RecordModel::rowsAboutToBeDropped, this, &RecordTable::dropCurrent);
}

RecordTable::~RecordTable()
{
    setModel(nullptr); // before the model and the objects that the view uses are destroyed
}

double RecordTable::advance(Session::Clock::duration longest)
{
    m_rows->update(longest);
    const double progress = m_rows->view().progress();
    if (m_place)
    {
        goTo(*m_place);
        if (progress >= 1)
            m_place.reset();
    }
    if (m_found.pattern())
    {
        m_found.advance_for(longest);
        jump();
        showFound();
    }
    m_widths->fit();
    return m_found.pattern() ? std::min(progress, m_found.progress()) : progress;
}

// ---- places

// The chosen record, if it is visible; else the end, if the table follows it, or the row at the
// top.
RecordTable::Place RecordTable::place() const
{
    const int top = view()->topRow();
    const QModelIndex current = view()->currentIndex();
    const int line = current.row() - top;
    if (m_chosen && current.isValid() && line >= 0 && line < view()->rowsInSight())
        return {*m_chosen, line, true};
    if (isFollowing() || m_rows->rowCount() == 0)
        return {m_rows->view().store().end(), 0, false};
    return {m_rows->number(std::min(top, m_rows->rowCount() - 1)), 0, false};
}

void RecordTable::goTo(const Place& place)
{
    const trace::View& rows = m_rows->view();
    const auto row = rows.nearest_row(place.number);
    if (!row)
        return;
    const QScopedValueRollback<bool> placing(m_placing, true);
    if (const auto chosen = place.isChosen ? row : m_chosen ? rows.row_of(*m_chosen) : std::nullopt)
        makeCurrent(static_cast<int>(*chosen));
    if (isFollowing())
        return view()->scrollToBottom();
    view()->setTopRow(static_cast<int>(*row) - place.line);
}

void RecordTable::makeCurrent(int row)
{
    const int across = view()->horizontalScrollBar()->value();
    view()->selectionModel()->setCurrentIndex(
        m_rows->index(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    view()->horizontalScrollBar()->setValue(across);
}

void RecordTable::setFilter(trace::Filter filter)
{
    const bool followed = isFollowing();
    const Place kept = m_place.value_or(place());
    {
        const QScopedValueRollback<bool> placing(m_placing, true);
        m_rows->setFilter(std::move(filter), kept.number);
    }
    m_widths->forget();
    setFollowing(followed && !kept.isChosen);
    m_place = kept;
    goTo(kept);
}

void RecordTable::setStyle(RowStyle style)
{
    m_found.set_form(style.form);
    m_rows->setStyle(std::move(style));
    m_widths->forget();
}

void RecordTable::setRowFont(const QFont& font)
{
    view()->setFont(font);
    view()->verticalHeader()->setDefaultSectionSize(QFontMetrics(font).height() + row_margin);
    fitHeight();
    m_widths->forget();
}

std::optional<uint64_t> RecordTable::chosen() const
{
    const bool isKept = m_chosen && *m_chosen >= m_rows->view().store().first();
    return isKept ? m_chosen : std::nullopt;
}

void RecordTable::takeCurrent(const QModelIndex& current)
{
    if (m_placing || !current.isValid() || !m_rows->isKept(current.row()))
        return;
    m_place.reset();
    m_chosen = m_rows->number(current.row());
    m_rows->setChosen(*m_chosen);
    emit recordChosen(*m_chosen);
}

// Otherwise the next row would become the current one, as if the user had chosen it: the table
// would scroll there and stop following, and linked views with it.
void RecordTable::dropCurrent(int rows)
{
    const QModelIndex current = view()->currentIndex();
    if (!current.isValid() || current.row() >= rows)
        return;
    const QScopedValueRollback<bool> placing(m_placing, true);
    view()->selectionModel()->clearCurrentIndex();
}

void RecordTable::choose(uint64_t number)
{
    const auto row = m_rows->view().nearest_row(number);
    if (!row)
        return;
    makeCurrent(static_cast<int>(*row));
    view()->setTopRow(static_cast<int>(*row) - view()->rowsInSight() / 2);
    setFollowing(false);
}

void RecordTable::showNear(uint64_t number)
{
    if (number < m_rows->view().store().first())
        return; // cleared or dropped: it is near to nothing
    const Place middle{number, view()->rowsInSight() / 2, true};
    m_chosen = number;
    m_rows->setChosen(number);
    setFollowing(false);
    goTo(middle);
    if (m_rows->view().progress() < 1)
        m_place = middle;
}

// ---- finding

QString RecordTable::searchText() const
{
    return findBar()->isVisibleTo(this) ? findBar()->text() : QString();
}

void RecordTable::search(const QString& text)
{
    if (text.isEmpty())
        return;
    findBar()->show();
    findBar()->setText(text);
}

std::optional<trace::Pattern> RecordTable::patternOf(const QString& text)
{
    const std::string utf8 = text.toStdString();
    const trace::Case letters = findBar()->caseSensitivity() == Qt::CaseSensitive
                                    ? trace::Case::matters
                                    : trace::Case::ignored;
    try
    {
        return trace::Pattern(findBar()->isExpression() ? utf8 : trace::literal(utf8), letters);
    }
    catch (const trace::BadPattern& problem)
    {
        findBar()->showCount({}, QString::fromUtf8(problem.what()));
        return std::nullopt;
    }
}

// Searches from the place where the user began to type, so that the place doesn't move with each
// letter.
void RecordTable::searchAgain(const QString& text)
{
    if (!m_found.pattern())
        m_typedAt = chosen().value_or(place().number);
    findBar()->showCount({});
    findBar()->showResult(qt_table::FindBar::Result::none);
    const std::optional<trace::Pattern> pattern = text.isEmpty() ? std::nullopt : patternOf(text);
    m_delegate->setPattern(pattern);
    m_found.set(pattern, m_typedAt);
    m_marks->setVisible(pattern.has_value());
    m_jump.reset();
    if (pattern)
        m_jump = Jump{qt_table::Direction::next, m_typedAt};
    view()->viewport()->update();
    m_marks->update();
}

void RecordTable::searchOn(qt_table::Direction direction)
{
    const bool isNext = direction == qt_table::Direction::next;
    if (!m_found.pattern()) // the search field was closed since
        searchAgain(findBar()->text());
    const QModelIndex current = view()->currentIndex();
    const uint64_t from = current.isValid() ? m_rows->number(current.row()) : m_typedAt;
    findBar()->showResult(qt_table::FindBar::Result::none);
    if (!current.isValid())
        m_jump = Jump{direction, from};
    else if (isNext)
        m_jump = Jump{direction, from + 1};
    else
        m_jump = Jump{direction, from > 0 ? from - 1 : UINT64_MAX};
    jump();
}

// A hit on the other side of the start only counts when the search has ended: until then a nearer
// one may be found.
void RecordTable::jump()
{
    if (!m_jump || !m_found.pattern())
        return;
    const bool isNext = m_jump->direction == qt_table::Direction::next;
    const uint64_t from = m_jump->from;
    std::optional<uint64_t> hit;
    if (isNext)
        hit = from == 0 ? m_found.next(std::nullopt) : m_found.next(from - 1);
    else
        hit = from == UINT64_MAX ? m_found.previous(std::nullopt) : m_found.previous(from + 1);
    const bool hasWrapped = hit && (isNext ? *hit < from : *hit > from);
    const bool isOver = m_found.progress() >= 1;
    if ((!hit || hasWrapped) && !isOver)
        return;
    m_jump.reset();
    m_saidNothing = !hit;
    using Result = qt_table::FindBar::Result;
    findBar()->showResult(!hit ? Result::nothing : hasWrapped ? Result::wrapped : Result::none);
    if (const auto row = hit ? m_rows->view().row_of(*hit) : std::nullopt)
        goToRow(static_cast<int>(*row));
    emit findEnded(hit.has_value(), hasWrapped);
}

void RecordTable::showFound()
{
    const QModelIndex current = view()->currentIndex();
    const size_t index = current.isValid() && m_rows->isKept(current.row())
                             ? m_found.index_of(m_rows->number(current.row()))
                             : 0;
    QString text = index > 0 ? tr("%L1 of %L2").arg(index).arg(m_found.count())
                             : tr("%L1 hits").arg(m_found.count());
    if (const size_t unknown = m_found.unknown(); unknown > 0)
        text += tr(", given up in %L1 records").arg(unknown);
    constexpr int percent = 100;
    if (const double progress = m_found.progress(); progress < 1)
        text += tr(", %1 % searched").arg(static_cast<int>(progress * percent));
    findBar()->showCount(text);
    m_marks->update();
    if (m_saidNothing && m_found.count() > 0) // a new record matches
    {
        m_saidNothing = false;
        findBar()->showResult(qt_table::FindBar::Result::none);
    }
}

// ---- events

std::optional<int> RecordTable::menuRow() const
{
    const int row = view()->rowAt(m_menuPlace.y());
    return row >= 0 && m_rows->isKept(row) ? std::optional(row) : std::nullopt;
}

QString RecordTable::menuWord() const
{
    const QModelIndex cell = view()->indexAt(m_menuPlace);
    if (!cell.isValid())
        return {};
    constexpr qsizetype most = 1'000; // characters: what is drawn
    const QString text = cell.data().toString().left(most);
    const QFontMetrics metrics = view()->fontMetrics();
    const int left = view()->visualRect(cell).left() + row_margin;
    const auto isOfWord = [](QChar c) { return c.isLetterOrNumber() || c == u'_'; };
    qsizetype at = 0;
    while (at < text.size() &&
           left + metrics.horizontalAdvance(text, static_cast<int>(at) + 1) < m_menuPlace.x())
        ++at;
    if (at >= text.size() || !isOfWord(text[at]))
        return {};
    qsizetype start = at;
    while (start > 0 && isOfWord(text[start - 1]))
        --start;
    while (at < text.size() && isOfWord(text[at]))
        ++at;
    return text.mid(start, at - start);
}

bool RecordTable::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type())
    {
    case QEvent::Resize:
        if (watched == view()->viewport())
            fitHeight();
        break;
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress: // from now on the user decides the place
        m_place.reset();
        break;
    default:
        break;
    }
    return TraceTable::eventFilter(watched, event);
}

// Shows whole rows only: at the end of the table the row at the top would be cut.
void RecordTable::fitHeight()
{
    const int row = std::max(1, view()->verticalHeader()->defaultSectionSize());
    const int rest = (view()->viewport()->height() + m_below) % row;
    if (std::exchange(m_below, rest) != rest)
        leaveBelow(rest);
}

void RecordTable::changeEvent(QEvent* event)
{
    TraceTable::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && m_rows)
        m_rows->setPalette(palette());
}

} // namespace trace_window

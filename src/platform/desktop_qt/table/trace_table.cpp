#include "trace_table.h"

#include <algorithm>
#include <climits>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QScrollBar>
#include <QVBoxLayout>

#include "selected_text.h"

namespace qt_table
{

namespace
{

void setUpView(QTableView& view)
{
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setSelectionMode(QAbstractItemView::ExtendedSelection);
    view.setEditTriggers(QAbstractItemView::NoEditTriggers);
    view.setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    view.setWordWrap(false);
    view.setShowGrid(false);
    view.setAlternatingRowColors(true);
    view.setTabKeyNavigation(false);
    view.setCornerButtonEnabled(false);
    view.setContextMenuPolicy(Qt::CustomContextMenu);
    view.horizontalHeader()->setSectionsMovable(true);
    view.horizontalHeader()->setHighlightSections(false);
    view.horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // One height for all rows, so that no row is asked for its own.
    view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view.verticalHeader()->setDefaultSectionSize(view.fontMetrics().height() + 4);
    view.verticalHeader()->hide();
}

// A key that can begin a text.
bool isTyping(const QKeyEvent& key)
{
    const auto with = key.modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier);
    return with == Qt::NoModifier && !key.text().isEmpty() && key.text()[0].isPrint() &&
           !key.text()[0].isSpace();
}

} // namespace

TraceTable::TraceTable(QWidget* parent)
    : QWidget(parent), m_view(new RowsView(this)), m_find(new FindBar(this)),
      m_search(new TableSearch(this))
{
    setUpView(*m_view);
    m_find->hide();
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_rows = new QHBoxLayout;
    m_rows->setSpacing(0);
    m_rows->addWidget(m_view, 1);
    layout->addLayout(m_rows, 1);
    layout->addWidget(m_find);
    setFocusProxy(m_view);
    m_view->installEventFilter(this);
    addCommands();

    // New rows and a smaller window move the end away: a table that follows scrolls to it. The
    // value is changed by the user or by the program; either way the new value decides whether the
    // table follows.
    const QScrollBar* const bar = m_view->verticalScrollBar();
    connect(bar, &QScrollBar::rangeChanged, this,
            [this](int, int maximum)
            {
                if (m_following)
                    m_view->verticalScrollBar()->setValue(maximum);
            });
    connect(bar, &QScrollBar::valueChanged, this,
            [this, bar](int value) { setFollowing(value >= bar->maximum()); });

    connect(m_view, &QTableView::customContextMenuRequested, this, &TraceTable::showMenu);
    connect(m_find, &FindBar::textChanged, this,
            [this](const QString& text) { searchAgain(text); });
    connect(m_find, &FindBar::nextAsked, this, &TraceTable::findNext);
    connect(m_find, &FindBar::previousAsked, this, &TraceTable::findPrevious);
    connect(m_find, &FindBar::copyAsked, this, &TraceTable::copySelection);
    connect(m_find, &FindBar::closed, this,
            [this]
            {
                m_search->stop();
                m_view->setFocus();
            });
    connect(m_search, &TableSearch::found, this, &TraceTable::takeFound);
    connect(m_search, &TableSearch::notFound, this,
            [this]
            {
                m_find->showResult(FindBar::Result::nothing);
                emit findEnded(false, false);
            });
}

// The children are destroyed when only the QWidget is left, and the bar moves once more then.
TraceTable::~TraceTable()
{
    m_view->verticalScrollBar()->disconnect(this);
}

void TraceTable::setModel(QAbstractItemModel* model)
{
    m_search->stop();
    // The view made the selection model for the former model; its caller has to delete it.
    QItemSelectionModel* const former = m_view->selectionModel();
    m_view->setModel(model);
    if (former && former != m_view->selectionModel())
        former->deleteLater();
}

QAbstractItemModel* TraceTable::model() const
{
    return m_view->model();
}

void TraceTable::putAbove(QWidget* widget)
{
    static_cast<QBoxLayout*>(layout())->insertWidget(0, widget);
}

void TraceTable::putBeside(QWidget* widget)
{
    m_rows->addWidget(widget);
}

void TraceTable::leaveBelow(int pixels)
{
    m_rows->setContentsMargins(0, 0, 0, pixels);
}

void TraceTable::setFollowing(bool following)
{
    if (m_following == following)
        return;
    m_following = following;
    if (following)
        m_view->scrollToBottom();
    emit followingChanged(following);
}

QString TraceTable::selectedText() const
{
    return textOfSelectedRows(*m_view);
}

void TraceTable::copySelection()
{
    if (const QString text = selectedText(); !text.isEmpty())
        QApplication::clipboard()->setText(text);
}

void TraceTable::goToRow(int row, int column)
{
    if (!model() || row < 0 || row >= model()->rowCount())
        return;
    const QModelIndex index = model()->index(row, column);
    m_view->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect |
                                                         QItemSelectionModel::Rows);
    m_view->scrollTo(index);
    // Set explicitly, since no scroll bar moves if the row was already visible.
    setFollowing(row == model()->rowCount() - 1);
}

int TraceTable::currentRow() const
{
    const QModelIndex current = m_view->currentIndex();
    return current.isValid() ? current.row() : -1;
}

// ---- commands

void TraceTable::addCommands()
{
    const auto add = [this](const QString& text, const QKeySequence& key, auto slot)
    {
        auto* const action = new QAction(text, this);
        action->setShortcut(key);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, slot);
        addAction(action);
    };
    add(tr("&Copy"), QKeySequence::Copy, &TraceTable::copySelection);
    add(tr("Select &All"), QKeySequence::SelectAll, [this] { m_view->selectAll(); });
    add(tr("&Find..."), QKeySequence::Find, &TraceTable::showFindBar);
    add(tr("Find &Next"), QKeySequence(Qt::Key_F3), &TraceTable::findNext);
    add(tr("Find &Previous"), QKeySequence(Qt::SHIFT | Qt::Key_F3), &TraceTable::findPrevious);
}

void TraceTable::showMenu(const QPoint& place)
{
    QMenu menu(this);
    menu.addActions(actions());
    menu.addSeparator();
    QAction* const follow = menu.addAction(tr("Follow the &Last Row"));
    follow->setCheckable(true);
    follow->setChecked(m_following);
    connect(follow, &QAction::toggled, this, &TraceTable::setFollowing);
    emit contextMenuAboutToShow(&menu, place);
    menu.exec(m_view->viewport()->mapToGlobal(place));
}

// The keys of the view. The commands are handled before the view's own keys, because the view would
// copy only the current cell. Typing opens the find bar with the typed text, instead of the view's
// own search. End resumes following even if there is nothing left to scroll.
bool TraceTable::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_view && event->type() == QEvent::KeyPress)
    {
        const auto& key = *static_cast<QKeyEvent*>(event);
        for (QAction* const action : actions())
            if (action->shortcut() == QKeySequence(key.keyCombination()))
            {
                action->trigger();
                return true;
            }
        if (isTyping(key))
        {
            showFindBar();
            m_find->setText(key.text());
            return true;
        }
        if (key.key() == Qt::Key_End)
            setFollowing(true);
        if (key.key() == Qt::Key_Escape && m_find->isVisible())
        {
            m_find->close();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

// ---- finding

void TraceTable::showFindBar()
{
    m_typingFrom = std::max(currentRow(), 0);
    m_find->open();
}

void TraceTable::searchAgain(const QString& text)
{
    if (!text.isEmpty())
        return search(Direction::next, m_typingFrom);
    m_search->stop();
    m_find->showResult(FindBar::Result::none);
}

void TraceTable::findNext()
{
    if (m_find->text().isEmpty())
        return showFindBar();
    searchOn(Direction::next);
}

void TraceTable::findPrevious()
{
    if (m_find->text().isEmpty())
        return showFindBar();
    searchOn(Direction::previous);
}

void TraceTable::searchOn(Direction direction)
{
    const int row = currentRow();
    search(direction, direction == Direction::next ? row + 1 : row > 0 ? row - 1 : INT_MAX);
}

void TraceTable::search(Direction direction, int from)
{
    m_find->showResult(FindBar::Result::none);
    m_search->start(model(), QStringMatcher(m_find->text(), m_find->caseSensitivity()), direction,
                    from);
}

void TraceTable::takeFound(int row, int column, bool wrapped)
{
    goToRow(row, column);
    m_typingFrom = row;
    m_find->showResult(wrapped ? FindBar::Result::wrapped : FindBar::Result::none);
    emit findEnded(true, wrapped);
}

} // namespace qt_table

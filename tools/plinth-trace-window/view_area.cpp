#include "view_area.h"

#include <QApplication>
#include <QInputDialog>
#include <QMenu>
#include <QScopedValueRollback>
#include <QTabBar>
#include <QTabWidget>

#include "table/harmless.h"

namespace trace_window
{

namespace
{

// Names may come from other users, through files or processes.
QString titleOf(const ViewPage& page)
{
    return qt_table::harmless(page.name()).replace(u'&', QLatin1String("&&"));
}

} // namespace

ViewArea::ViewArea()
{
    setChildrenCollapsible(false);
    for (QTabWidget*& group : m_groups)
        group = makeGroup();
    m_groups[1]->hide();
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget*, QWidget* now)
            {
                for (ViewPage* const page : inSight())
                    if (now && page->isAncestorOf(now))
                        setCurrent(page);
            });
}

// The tables are destroyed before what they show.
ViewArea::~ViewArea()
{
    qApp->disconnect(this);
    for (QTabWidget* const group : m_groups)
        group->disconnect(this);
}

QTabWidget* ViewArea::makeGroup()
{
    auto* const group = new QTabWidget;
    group->setDocumentMode(true);
    group->setMovable(true);
    group->setTabsClosable(true);
    group->setUsesScrollButtons(true);
    group->setElideMode(Qt::ElideRight);
    addWidget(group);
    connect(group, &QTabWidget::currentChanged, this, [this, group] { takeFront(*group); });
    connect(group, &QTabWidget::tabCloseRequested, this,
            [this, group](int tab) { remove(*static_cast<ViewPage*>(group->widget(tab))); });
    group->tabBar()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(group->tabBar(), &QWidget::customContextMenuRequested, this,
            [this, group](const QPoint& place) { showMenu(*group, place); });
    return group;
}

ViewPage& ViewArea::add(ViewPage* page, int side)
{
    QTabWidget& group = *m_groups[side];
    if (!m_current)
        m_current = page;
    group.addTab(page, titleOf(*page));
    group.setVisible(true);
    connect(&page->table(), &RecordTable::recordChosen, this,
            [this, page](quint64 number) { follow(*page, number); });
    return *page;
}

void ViewArea::remove(ViewPage& page)
{
    if (pages().size() < 2)
        return;
    QTabWidget& group = groupOf(page);
    if (m_current == &page)
        m_current = nullptr;
    group.removeTab(group.indexOf(&page));
    page.deleteLater();
    if (group.count() == 0)
        group.setVisible(false);
    if (!m_current)
        setCurrent(inSight().front());
}

void ViewArea::clear()
{
    for (QTabWidget* const group : m_groups)
    {
        const QSignalBlocker quiet(group);
        while (group->count() > 0)
            delete group->widget(0);
    }
    m_groups[1]->hide();
    m_current = nullptr;
    m_chosen.reset();
}

void ViewArea::bringToFront(ViewPage& page)
{
    groupOf(page).setCurrentWidget(&page);
    setCurrent(&page);
}

void ViewArea::rename(ViewPage& page, const QString& name)
{
    page.setName(name);
    page.setAutomatic(false);
    QTabWidget& group = groupOf(page);
    group.setTabText(group.indexOf(&page), titleOf(page));
}

void ViewArea::moveToOtherSide(ViewPage& page)
{
    QTabWidget& from = groupOf(page);
    QTabWidget& to = *m_groups[sideOf(page) == 0 ? 1 : 0];
    if (from.count() < 2 && to.count() == 0)
        return; // the only view has no other to be beside
    from.removeTab(from.indexOf(&page));
    to.addTab(&page, titleOf(page));
    for (QTabWidget* const group : m_groups)
        group->setVisible(group->count() > 0);
    bringToFront(page);
}

int ViewArea::sideOf(const ViewPage& page) const
{
    return &groupOf(page) == m_groups[1] ? 1 : 0;
}

std::vector<ViewPage*> ViewArea::pages() const
{
    std::vector<ViewPage*> pages;
    for (const QTabWidget* const group : m_groups)
        for (int tab = 0; tab < group->count(); ++tab)
            pages.push_back(static_cast<ViewPage*>(group->widget(tab)));
    return pages;
}

std::vector<ViewPage*> ViewArea::inSight() const
{
    std::vector<ViewPage*> fronts;
    for (const QTabWidget* const group : m_groups)
        if (ViewPage* const front = frontOf(*group))
            fronts.push_back(front);
    return fronts;
}

QTabWidget& ViewArea::groupOf(const ViewPage& page) const
{
    return *m_groups[m_groups[1]->indexOf(&page) >= 0 ? 1 : 0];
}

ViewPage* ViewArea::frontOf(const QTabWidget& group) const
{
    return static_cast<ViewPage*>(group.currentWidget());
}

void ViewArea::takeFront(QTabWidget& group)
{
    ViewPage* const front = frontOf(group);
    if (!front)
        return;
    if (m_linked && m_chosen)
    {
        const QScopedValueRollback<bool> following(m_following, true);
        front->advance({});
        front->table().showNear(*m_chosen);
    }
    setCurrent(front);
}

void ViewArea::setCurrent(ViewPage* page)
{
    m_current = page;
    emit currentChanged();
}

// ---- linked views

void ViewArea::setLinked(bool linked)
{
    m_linked = linked;
    m_chosen.reset();
    if (const auto chosen = linked ? m_current->table().chosen() : std::nullopt)
        follow(*m_current, *chosen);
}

void ViewArea::follow(const ViewPage& from, uint64_t number)
{
    if (!m_linked || m_following)
        return;
    const QScopedValueRollback<bool> following(m_following, true);
    m_chosen = number;
    for (ViewPage* const page : inSight())
        if (page != &from)
            page->table().showNear(number);
}

// ---- the menu of a tab

void ViewArea::showMenu(QTabWidget& group, const QPoint& place)
{
    const int tab = group.tabBar()->tabAt(place);
    if (tab < 0)
        return;
    auto* const page = static_cast<ViewPage*>(group.widget(tab));
    QMenu menu;
    menu.addAction(tr("&Rename..."), this,
                   [this, page]
                   {
                       const QString name = QInputDialog::getText(
                           this, tr("Rename"), tr("Name of the view"), {}, page->name());
                       if (!name.isEmpty())
                           rename(*page, name);
                   });
    menu.addAction(tr("Show on the other &side"), this, [this, page] { moveToOtherSide(*page); });
    menu.addAction(tr("&Close"), this, [this, page] { remove(*page); });
    menu.exec(group.tabBar()->mapToGlobal(place));
}

} // namespace trace_window

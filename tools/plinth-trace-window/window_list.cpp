#include "window_list.h"

#include <QLineEdit>
#include <QListView>
#include <QStringListModel>
#include <QVBoxLayout>

namespace trace_window
{

namespace
{

constexpr int wide = 180; // pixels
constexpr int high = 320;

} // namespace

WindowList::WindowList(QWidget* parent)
    : QToolButton(parent), m_popup(new QWidget(this, Qt::Popup)), m_typed(new QLineEdit),
      m_list(new QListView), m_shown(new QStringListModel(this))
{
    setToolTip(tr("All window ids: choose one for a tab of its own"));
    setAutoRaise(true);
    hide();
    m_typed->setPlaceholderText(tr("Window id"));
    m_list->setModel(m_shown);
    m_list->setUniformItemSizes(true);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    auto* const layout = new QVBoxLayout(m_popup);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(m_typed);
    layout->addWidget(m_list);
    m_popup->resize(wide, high);
    connect(this, &QToolButton::clicked, this, &WindowList::open);
    connect(m_typed, &QLineEdit::textChanged, this,
            [this](const QString& text) { m_shown->setStringList(matching(text)); });
    connect(m_typed, &QLineEdit::returnPressed, this,
            [this]
            {
                if (const QStringList ids = m_shown->stringList(); !ids.isEmpty())
                    choose(ids.front());
            });
    connect(m_list, &QListView::clicked, this,
            [this](const QModelIndex& index) { choose(index.data().toString()); });
}

void WindowList::setWindows(const std::set<int32_t>& windows)
{
    if (static_cast<size_t>(m_ids.size()) == windows.size())
        return; // ids are never removed
    m_ids.clear();
    for (const int32_t id : windows)
        m_ids += QString::number(id);
    setText(tr("Windows (%L1)").arg(m_ids.size()));
    setVisible(!m_ids.isEmpty());
}

QStringList WindowList::matching(const QString& typed) const
{
    return typed.isEmpty() ? m_ids : m_ids.filter(typed);
}

void WindowList::open()
{
    m_typed->clear();
    m_shown->setStringList(m_ids);
    m_popup->move(mapToGlobal(QPoint(width() - m_popup->width(), height())));
    m_popup->show();
    m_typed->setFocus();
}

void WindowList::choose(const QString& text)
{
    m_popup->hide();
    emit windowChosen(text.toInt());
}

} // namespace trace_window

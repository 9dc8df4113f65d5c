// The views of the window, as tabs of one or two groups side by side. One view is the current one,
// to which the commands of the window apply.
//
// Linked views follow each other: a record chosen in one is shown with its neighbours in the other
// visible views at once, and in hidden ones when they come to the front.
#pragma once

#include <optional>
#include <vector>

#include <QSplitter>

#include "view_page.h"

QT_BEGIN_NAMESPACE
class QTabWidget;
QT_END_NAMESPACE

namespace trace_window
{

class ViewArea : public QSplitter
{
    Q_OBJECT

public:
    ViewArea();
    ~ViewArea() override;

    ViewPage& add(ViewPage* page, int side = 0); // takes ownership
    void remove(ViewPage& page);                 // the last view can't be removed
    void clear();
    void bringToFront(ViewPage& page);
    void rename(ViewPage& page, const QString& name);
    void moveToOtherSide(ViewPage& page);
    int sideOf(const ViewPage& page) const;

    std::vector<ViewPage*> pages() const;   // of both groups, in their order
    std::vector<ViewPage*> inSight() const; // one or two
    ViewPage& current() const { return *m_current; }
    QTabWidget& group(int side) const { return *m_groups[side]; }

    void setLinked(bool linked);
    bool isLinked() const { return m_linked; }

signals:
    void currentChanged();

private:
    QTabWidget* makeGroup();
    QTabWidget& groupOf(const ViewPage& page) const;
    ViewPage* frontOf(const QTabWidget& group) const;
    void takeFront(QTabWidget& group);
    void setCurrent(ViewPage* page);
    void follow(const ViewPage& from, uint64_t number);
    void showMenu(QTabWidget& group, const QPoint& place);

    QTabWidget* m_groups[2];
    ViewPage* m_current = nullptr;
    bool m_linked = false;
    std::optional<uint64_t> m_chosen; // while views are linked
    bool m_following = false;
};

} // namespace trace_window

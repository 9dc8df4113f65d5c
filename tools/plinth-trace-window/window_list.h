// The button with the list of all window ids that records have named: there may be thousands, and
// only the first ones get tabs automatically.
#pragma once

#include <set>

#include <QToolButton>

QT_BEGIN_NAMESPACE
class QLineEdit;
class QListView;
class QStringListModel;
QT_END_NAMESPACE

namespace trace_window
{

class WindowList : public QToolButton
{
    Q_OBJECT

public:
    explicit WindowList(QWidget* parent = nullptr);

    // Hidden while there are no ids.
    void setWindows(const std::set<int32_t>& windows);
    void open(); // the list below the button
    // What the list shows for this text.
    QStringList matching(const QString& typed) const;

signals:
    void windowChosen(int window);

private:
    void choose(const QString& text);

    QStringList m_ids;
    QWidget* const m_popup;
    QLineEdit* m_typed = nullptr;
    QListView* m_list = nullptr;
    QStringListModel* m_shown = nullptr;
};

} // namespace trace_window

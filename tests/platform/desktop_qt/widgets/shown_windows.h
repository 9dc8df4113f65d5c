// Looks at the widgets that represent windows, on the widgets' thread; and windows for tests.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <QAbstractButton>
#include <QApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QTableView>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/list_messages.h"
#include "support/virtual_display.h"
#include "support/window_thread.h"

namespace test
{

// Runs it on the thread of the widgets and waits for it.
template <class Function> auto on_gui(Function function)
{
    if (QThread::currentThread() == qApp->thread())
        return function();
    if constexpr (std::is_void_v<decltype(function())>)
        QMetaObject::invokeMethod(qApp, function, Qt::BlockingQueuedConnection);
    else
    {
        decltype(function()) result{};
        QMetaObject::invokeMethod(
            qApp, [&] { result = function(); }, Qt::BlockingQueuedConnection);
        return result;
    }
}

// Waits until the condition is true, which is checked on the thread of the widgets; false if that
// takes half a minute.
inline bool eventually(const std::function<bool()>& holds)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!on_gui(holds))
    {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        if (QThread::currentThread() == qApp->thread())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// The functions below run on the thread of the widgets. They return null if there is no such
// widget.

template <class Kind = QWidget> Kind* shown(const char* title)
{
    for (QWidget* const each : QApplication::topLevelWidgets())
        if (auto* const found = qobject_cast<Kind*>(each);
            found && found->isVisible() && found->windowTitle() == QString::fromUtf8(title))
            return found;
    return nullptr;
}

// The view of a window's table. The plug-in doesn't export its classes, so tests use the table
// around the view only as a QWidget: by its properties and invokable functions.
inline QTableView* shown_view(const char* title)
{
    QWidget* const window = shown(title);
    return window ? window->findChild<QTableView*>() : nullptr;
}

inline QWidget* table_of(const QTableView* view)
{
    return view->parentWidget();
}

inline int shown_rows(const char* title)
{
    const QTableView* const view = shown_view(title);
    return view ? view->model()->rowCount() : -1;
}

inline std::string shown_cell(const char* title, int row, int column)
{
    const QAbstractItemModel& model = *shown_view(title)->model();
    return model.index(row, column).data().toString().toStdString();
}

// The row at the last pixels of the view, or the last row if the rows end above; -1 if there are
// none.
inline int last_row_in_sight(const QTableView& view)
{
    const int row = view.rowAt(view.viewport()->height() - 1);
    return row >= 0 ? row : view.model()->rowCount() - 1;
}

// A window with a list view that fills it, on a thread of its own.
class ListWindow
{
public:
    explicit ListWindow(const wchar_t* title)
        : m_thread(
              [&]
              {
                  InitCommonControls();
                  register_class(L"Listing", procedure);
                  // With room for a few rows: 300 by 200.
                  const HWND window =
                      create_window(L"Listing", title, nullptr, WS_OVERLAPPEDWINDOW, this);
                  m_list = create_window(WC_LISTVIEWW, nullptr, window, WS_CHILD | WS_VISIBLE);
                  RECT client = {};
                  GetClientRect(window, &client);
                  MoveWindow(m_list, 0, 0, client.right, client.bottom, TRUE);
                  for (int i = 0; i < 3; ++i)
                      add_column(m_list, i, Wide("column " + std::to_string(i)), 60 + 10 * i);
                  ShowWindow(window, SW_SHOW);
                  return window;
              })
    {
    }
    ListWindow(const ListWindow&) = delete;
    ListWindow& operator=(const ListWindow&) = delete;
    ~ListWindow()
    {
        SendMessageW(window(), WM_APP, 0, 0);
        m_thread.end();
    }

    HWND window() const { return m_thread.window(); }
    HWND list() const { return m_list; }
    void add_row(int row)
    {
        test::add_row(m_list, row, Wide("row " + std::to_string(row)));
        set_cell(m_list, row, 1, Wide("é " + std::to_string(row * row % 1000)));
        SendMessageW(m_list, LVM_ENSUREVISIBLE, static_cast<WPARAM>(row), FALSE);
    }
    void add_rows(int from, int to)
    {
        for (int row = from; row < to; ++row)
            add_row(row);
    }

    std::atomic<int> closes{0};
    std::atomic<bool> refuses{false}; // whether it ignores a request to close

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(window, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(
                                  reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams));
        auto* const self = reinterpret_cast<ListWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self && message == WM_CLOSE)
        {
            ++self->closes;
            if (self->refuses)
                return 0;
        }
        if (self && message == WM_SIZE)
            MoveWindow(self->m_list, 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
        if (message == WM_APP)
            return DestroyWindow(window);
        return DefWindowProcW(window, message, wParam, lParam);
    }
    HWND m_list = nullptr;
    WindowThread m_thread;
};

// A display, for tests in whose process only the plug-in uses Qt.
struct OnADisplay : testing::Test
{
    VirtualDisplay display;
    void SetUp() override { ASSERT_TRUE(display); }
};

// A display, and an application that runs Qt itself.
struct WithOwnQt : OnADisplay
{
    void SetUp() override
    {
        OnADisplay::SetUp();
        application = std::make_unique<QApplication>(count, arguments);
    }
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
};

// Presses a button of a box. label: without the mark of its key.
inline void press_button(const QMessageBox& box, const char* label)
{
    for (QAbstractButton* const button : box.buttons())
        if (button->text().remove(u'&') == QLatin1String(label))
            return QTest::mouseClick(button, Qt::LeftButton);
    ADD_FAILURE() << "no button " << label;
}

} // namespace test

// The viewer's window on a display of the test's own, reading a log of the test's.
#pragma once

#include <fstream>
#include <memory>
#include <string>

#include <QApplication>
#include <QLineEdit>
#include <QTest>

#include "record_table.h"
#include "support/environment.h"
#include "support/virtual_display.h"
#include "trace_window.h"
#include "view_page.h"

namespace test
{

template <class Predicate> bool eventually(Predicate&& predicate)
{
    constexpr int patience = 60'000; // ms
    return QTest::qWaitFor(std::forward<Predicate>(predicate), patience);
}

inline std::string cell(const trace_window::TraceWindow& window, int row,
                        int column = trace_window::RecordModel::first_field)
{
    return window.model()->index(row, column).data().toString().toStdString();
}

inline bool has(const QString& text, const char* part)
{
    return text.contains(QString::fromUtf8(part));
}

inline void type(QLineEdit* field, const char* text)
{
    field->setText(QString::fromUtf8(text));
}

// "record 0" and so on.
inline std::string lines(int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "2024-03-05 14:07:33.006 *vtq* record " + std::to_string(i) + "\r\n";
    return text;
}

class WindowOnADisplay : public testing::Test
{
protected:
    VirtualDisplay display;
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QApplication application{count, arguments};
    const std::string log = root() + "/qvapp_2024-03-05.log";
    trace::ViewOptions options;

    void append(const std::string& text) const { std::ofstream(log, std::ios::app) << text; }

    // Opens and shows a window that reads a log with this text, and waits until it shows this many
    // rows.
    std::unique_ptr<trace_window::TraceWindow> reading(const std::string& text, int rows)
    {
        write_file(log, text);
        options.inputs = {log};
        auto window = std::make_unique<trace_window::TraceWindow>(options);
        window->open();
        window->show();
        EXPECT_TRUE(shows(*window, rows)) << window->model()->rowCount();
        return window;
    }

    static bool shows(const trace_window::TraceWindow& window, int rows)
    {
        return eventually([&] { return window.model()->rowCount() == rows; });
    }
};

} // namespace test

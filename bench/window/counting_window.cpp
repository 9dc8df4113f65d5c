// The viewer's window as a program for benchmarks. It shows the texts of the debug string channel,
// and ends when it shows COUNT records:
//     plinth_bench_window COUNT
//
// The exit code is 0 then. It is 1 as soon as records were lost, and after a minute.
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <QApplication>
#include <QTimer>

#include "record_model.h"
#include "trace_window.h"

using namespace std::chrono_literals;

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const int count = std::atoi(argv[1]);
    // Only one line is written.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QApplication application(argc, argv);
    trace_window::TraceWindow window({});
    window.open();
    window.show();
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &window,
                     [&]
                     {
                         // Without the time that it takes to give the memory back.
                         if (!window.counts().contains(QStringLiteral("lost 0 ")))
                             std::_Exit(1);
                         if (window.model()->rowCount() >= count)
                             std::_Exit(0);
                     });
    look.start(1ms);
    QTimer::singleShot(60s, [] { std::_Exit(1); });
    QTimer::singleShot(0, [] { std::fputs("ready\n", stderr); });
    return QApplication::exec();
}

// plinth-trace-window: the viewer that plinth-trace window starts. It takes the same options.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QPixmap>
#include <QTimer>

#include "failure.h"
#include "text.h"
#include "trace_window.h"

namespace
{

volatile std::sig_atomic_t gs_interrupted = 0;

extern "C" void plinth_window_on_interrupt(int)
{
    gs_interrupted = 1;
}

// Qt ends the process by a core dump where a display can't be reached: here it is an ordinary
// failure.
void on_message(QtMsgType kind, const QMessageLogContext&, const QString& text)
{
    std::fprintf(stderr, "plinth-trace: %s\n", text.toUtf8().constData());
    if (kind == QtFatalMsg)
        std::_Exit(trace::exit_no_window);
}

struct ForScripts
{
    std::optional<std::string> screenshot;
    std::optional<double> exit_after; // seconds
};

int run(QApplication& application, const trace::ViewOptions& options, const ForScripts& scripts)
{
    trace_window::TraceWindow window(options);
    window.open();
    window.show();

    // A handler may do next to nothing, so somebody looks.
    QElapsedTimer running;
    running.start();
    QTimer look;
    QObject::connect(
        &look, &QTimer::timeout, &window,
        [&]
        {
            const bool over = scripts.exit_after &&
                              static_cast<double>(running.elapsed()) >= *scripts.exit_after * 1000;
            if (!gs_interrupted && !over)
                return;
            if (scripts.screenshot &&
                !window.grab().save(QString::fromStdString(*scripts.screenshot), "PNG"))
                application.exit(trace::exit_failed);
            window.close();
        });
    look.start(50);
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    qInstallMessageHandler(on_message);
    std::signal(SIGINT, plinth_window_on_interrupt);
    std::signal(SIGTERM, plinth_window_on_interrupt);
    try
    {
        std::vector<std::string> arguments;
        for (int i = 1; i < argc; ++i)
            arguments.push_back(trace::utf8_from_narrow(argv[i]));
        trace::Options given("window", std::move(arguments));
        const trace::ViewOptions options = trace::take_view_options(given);
        const ForScripts scripts{given.take_value("--screenshot"),
                                 given.take_seconds("--exit-after")};
        given.finish();
        int none = 1; // the options are ours, not Qt's
        QApplication application(none, argv);
        return run(application, options, scripts);
    }
    catch (const trace::Failure& failure)
    {
        std::fprintf(stderr, "plinth-trace: %s\n", failure.what());
        return failure.code();
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "plinth-trace: %s\n", error.what());
        return trace::exit_failed;
    }
}

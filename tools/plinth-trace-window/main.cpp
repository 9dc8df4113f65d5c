// plinth-trace-window: the viewer that plinth-trace window starts. It takes the same options.
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QPixmap>
#include <QTimer>

#include "failure.h"
#include "interruption.h"
#include "note.h"
#include "program_end.h"
#include "settings_file.h"
#include "text.h"
#include "trace_window.h"

namespace
{

// If a display can't be reached, Qt ends the process with a core dump: this handler makes it an
// ordinary failure.
void onMessage(QtMsgType kind, const QMessageLogContext&, const QString& text)
{
    trace::note(text.toStdString());
    if (kind == QtFatalMsg)
        std::_Exit(trace::exit_no_window);
}

// If the display is lost, Qt calls exit. Views and layout were saved some seconds ago at most, and
// static objects must not be destroyed while threads still take records: so the process ends at
// once.
bool g_hasDisplay = false;

void endWithoutDisplay()
{
    if (!g_hasDisplay)
        return;
    trace::note("the display was closed");
    std::_Exit(trace::exit_no_window);
}

struct ForScripts
{
    std::optional<std::string> screenshot;
    std::optional<double> exitAfter; // seconds
    std::string views;               // the name of the settings
};

int run(QApplication& application, const trace::ViewOptions& options, const ForScripts& scripts)
{
    trace_window::TraceWindow window(options, trace::settings_path(scripts.views));
    window.open();
    window.show();

    // A signal handler may do next to nothing, so a timer checks for an interruption.
    QElapsedTimer running;
    running.start();
    QTimer look;
    QObject::connect(
        &look, &QTimer::timeout, &window,
        [&]
        {
            const bool over = scripts.exitAfter &&
                              static_cast<double>(running.elapsed()) >= *scripts.exitAfter * 1000;
            if (!trace::interrupted() && !over)
                return;
            if (scripts.screenshot &&
                !window.grab().save(QString::fromStdString(*scripts.screenshot), "PNG"))
                application.exit(trace::exit_failed);
            window.close();
        });
    look.start(50);
    g_hasDisplay = true;
    std::atexit(endWithoutDisplay);
    const int code = QApplication::exec();
    g_hasDisplay = false;
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    qInstallMessageHandler(onMessage);
    trace::catch_interruption();
    try
    {
        std::vector<std::string> arguments;
        for (int i = 1; i < argc; ++i)
            arguments.push_back(trace::utf8_from_narrow(argv[i]));
        trace::Options given("window", std::move(arguments));
        const trace::ViewOptions options = trace::take_view_options(given);
        const ForScripts scripts{given.take_value("--screenshot"),
                                 given.take_seconds("--exit-after"),
                                 given.take_value("--views").value_or("window")};
        given.finish();
        int none = 1; // the options are ours, not Qt's
        QApplication application(none, argv);
        return run(application, options, scripts);
    }
    catch (...)
    {
        return trace::end_by_exception();
    }
}

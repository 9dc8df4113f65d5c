#include "window_settings.h"

#include "trace_window.h"
#include "view_area.h"
#include "window_commands.h"

namespace trace_window
{

namespace
{

constexpr const char* side_name = "table.side";
constexpr const char* geometry_name = "window.geometry";
constexpr const char* sides_name = "window.sides";
constexpr const char* linked_name = "window.linked";
constexpr const char* strip_name = "window.strip";
constexpr const char* scheme_name = "window.colours";
constexpr const char* font_name = "window.font";
constexpr const char* time_name = "window.time";

constexpr const char* schemes[] = {"desktop", "light", "dark"};
constexpr std::pair<trace::TimeMode, const char*> times[] = {
    {trace::TimeMode::absolute, "absolute"},
    {trace::TimeMode::start, "start"},
    {trace::TimeMode::previous, "previous"},
    {trace::TimeMode::none, "none"},
};

std::string valueOf(const trace::OpaqueSettings& settings, const char* name)
{
    const auto found = settings.find(name);
    return found == settings.end() ? std::string() : found->second;
}

QByteArray bytesOf(const trace::OpaqueSettings& settings, const char* name)
{
    return QByteArray::fromBase64(QByteArray::fromStdString(valueOf(settings, name)));
}

} // namespace

int sideIn(const trace::ViewSettings& settings)
{
    return valueOf(settings.others, side_name) == "1" ? 1 : 0;
}

void writeSide(trace::ViewSettings& settings, int side)
{
    settings.others[side_name] = std::to_string(side);
}

void writeLayout(const TraceWindow& window, const WindowCommands& commands,
                 trace::OpaqueSettings& settings)
{
    settings[geometry_name] = window.saveGeometry().toBase64().toStdString();
    settings[sides_name] = window.area().saveState().toBase64().toStdString();
    settings[linked_name] = commands.isLinked() ? "1" : "0";
    settings[strip_name] = commands.hasStrip() ? "1" : "0";
    settings[scheme_name] = schemes[static_cast<size_t>(commands.scheme())];
    settings[font_name] = commands.font().toStdString();
    for (const auto& [mode, name] : times)
        if (mode == commands.time())
            settings[time_name] = name;
}

QString showLayout(TraceWindow& window, WindowCommands& commands,
                   const trace::OpaqueSettings& settings)
{
    window.restoreGeometry(bytesOf(settings, geometry_name));
    if (window.area().inSight().size() > 1)
        window.area().restoreState(bytesOf(settings, sides_name));
    commands.setStrip(valueOf(settings, strip_name) != "0");
    commands.setLinked(valueOf(settings, linked_name) == "1");
    for (size_t i = 0; i < std::size(schemes); ++i)
        if (valueOf(settings, scheme_name) == schemes[i])
            commands.setScheme(static_cast<Scheme>(i));
    if (const auto mode = trace::time_mode_of(valueOf(settings, time_name)))
        commands.setTime(*mode);
    return commands.setFont(QString::fromStdString(valueOf(settings, font_name)));
}

} // namespace trace_window

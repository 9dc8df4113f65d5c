#include "qt_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QPluginLoader>
#include <QStringList>

#include "user32/desktop.h"

namespace desktop_qt
{

namespace
{

// The display that a platform needs; 0 if it needs none (an application may ask for such a
// platform).
unsigned displayOf(const QString& name)
{
    if (name.startsWith(QLatin1String("wayland")))
        return PLINTH_DISPLAY_WAYLAND;
    return name == QLatin1String("xcb") ? PLINTH_DISPLAY_X11 : 0;
}

// One file can serve several names; the names for Wayland have a common prefix.
bool canBeLoaded(const QString& name)
{
    const QString pattern =
        QLatin1String("libq") + name.section(u'-', 0, 0) + QLatin1String("*.so");
    for (const QString& folder : QCoreApplication::libraryPaths())
    {
        const QDir platforms(folder + QLatin1String("/platforms"));
        for (const QString& file : platforms.entryList({pattern}, QDir::Files))
            if (QPluginLoader(platforms.filePath(file)).load())
                return true;
    }
    return false;
}

QStringList wishes()
{
    const QString chosen = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (!chosen.isEmpty())
        return chosen.split(u';', Qt::SkipEmptyParts);
    if (qgetenv("XDG_SESSION_TYPE") == "wayland")
        return {QStringLiteral("wayland"), QStringLiteral("xcb")};
    return {QStringLiteral("xcb"), QStringLiteral("wayland")};
}

} // namespace

std::string usablePlatforms(unsigned displays)
{
    QStringList usable;
    for (const QString& wish : wishes())
    {
        const QString name = wish.section(u':', 0, 0); // options follow after a colon
        const unsigned needed = displayOf(name);
        if ((needed & displays) == needed && canBeLoaded(name))
            usable += wish;
    }
    return usable.join(u';').toStdString();
}

} // namespace desktop_qt

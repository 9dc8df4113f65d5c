// The layout of the window in its settings (view_settings.h): the names and values that only the
// window uses.
#pragma once

#include <QString>

#include "view_settings.h"

namespace trace_window
{

class TraceWindow;
class WindowCommands;

// On which side of the window a view is, 0 or 1.
int sideIn(const trace::ViewSettings& settings);
void writeSide(trace::ViewSettings& settings, int side);

void writeLayout(const TraceWindow& window, const WindowCommands& commands,
                 trace::OpaqueSettings& settings);
// Missing or damaged values change nothing. Returns a message for the user; empty if there is none.
QString showLayout(TraceWindow& window, WindowCommands& commands,
                   const trace::OpaqueSettings& settings);

} // namespace trace_window

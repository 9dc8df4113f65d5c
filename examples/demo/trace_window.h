// The window in which plinth-demo shows its records, if it is asked to and there is a display.
#pragma once

namespace demo
{

bool has_display();

// Opens it; what is traced from then on, by whatever process, appears there.
void open_trace_windows();

// Gives what came the time to appear, puts the windows beneath each other, and waits until the user
// has closed them all, or closes them itself.
void finish_trace_windows(bool close);

} // namespace demo

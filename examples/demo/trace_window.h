// The windows in which plinth-demo shows its records, if the user wants that.
#pragma once

namespace demo
{

bool has_display();

// Opens the first window. From then on the windows show the records of all processes.
void open_trace_windows();

// Waits until the last records have appeared, arranges the windows, and waits until the user has
// closed them all. With close it closes them itself.
void finish_trace_windows(bool close);

} // namespace demo

// The windows in which plinth-demo shows its records, if the user asks for them.
#pragma once

namespace demo
{

bool has_display();

// Opens the first window. From then on the windows show what any process traces.
void open_trace_windows();

// Waits until the last records have appeared, puts the windows beneath each other, and waits until
// the user has closed them all. With close it closes them itself.
void finish_trace_windows(bool close);

} // namespace demo

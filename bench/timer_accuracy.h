// How accurate timers are: a table of its own, besides the budgets.
#pragma once

namespace bench
{

// Prints what the benchmarks "timer/..." have measured in this run, if any.
void print_timer_accuracy();

} // namespace bench

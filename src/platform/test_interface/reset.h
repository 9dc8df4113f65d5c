// The parts of PlinthTestReset other than the faults.
#pragma once

namespace platform
{

void reset_clock_shifts(); // all but the channel's patience
void reset_kernel_root();

} // namespace platform

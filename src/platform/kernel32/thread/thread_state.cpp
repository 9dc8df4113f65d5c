#include "thread_state.h"

namespace platform
{

constinit thread_local ThreadState* t_state = nullptr;

} // namespace platform

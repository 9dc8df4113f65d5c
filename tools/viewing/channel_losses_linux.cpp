#include "channel_losses.h"

#include <plinth_platform.h>

namespace trace
{

uint32_t channel_losses()
{
    return PlinthLostDebugTexts();
}

} // namespace trace

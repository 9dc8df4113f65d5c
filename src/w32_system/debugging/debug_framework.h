// What the sources of the debug framework share.
#pragma once

#include <memory>

#include "plinth_w32_system.h"

// The owner of the framework that DiagOutputWnd makes. It has no lock.
std::unique_ptr<CDebugFramework>& QvDebugFramework();

inline constexpr const char* qv_debugwnd_source = "src\\w32_system\\debugging\\debugwnd";
inline constexpr const char* qv_capture_source = "src\\w32_system\\debugging\\debugoutputcapture";

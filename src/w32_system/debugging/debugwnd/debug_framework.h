// Shared by the sources of the debug framework.
#pragma once

#include <memory>

#include "plinth_w32_system.h"

// The list of existing frameworks, for a fork.
struct QvFrameworksAtFork
{
    static void Enter(CDebugFramework& framework); // may throw std::bad_alloc
    static void TakeOut(const CDebugFramework& framework);
    static void Renew();
};

// The owner of the framework that DiagOutputWnd creates. No lock guards it.
std::unique_ptr<CDebugFramework>& QvDebugFramework();

inline constexpr const char* qv_debugwnd_source = "src\\w32_system\\debugging\\debugwnd";
inline constexpr const char* qv_capture_source = "src\\w32_system\\debugging\\debugoutputcapture";

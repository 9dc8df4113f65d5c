// What the sources of the debug framework share.
#pragma once

#include <memory>

#include "plinth_w32_system.h"

// The frameworks that live, for a fork.
struct QvFrameworksAtFork
{
    static void Enter(CDebugFramework& framework); // may throw std::bad_alloc
    static void TakeOut(const CDebugFramework& framework);
    static void Renew();
};

// The owner of the framework that DiagOutputWnd makes. It has no lock.
std::unique_ptr<CDebugFramework>& QvDebugFramework();

inline constexpr const char* qv_debugwnd_source = "src\\w32_system\\debugging\\debugwnd";
inline constexpr const char* qv_capture_source = "src\\w32_system\\debugging\\debugoutputcapture";

// What the sources of the debug framework share.
#pragma once

inline constexpr const char* qv_debugwnd_source = "src\\w32_system\\debugging\\debugwnd";
inline constexpr const char* qv_capture_source = "src\\w32_system\\debugging\\debugoutputcapture";

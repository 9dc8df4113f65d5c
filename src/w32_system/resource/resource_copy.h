// Copies data files into module files and out of them.
//
// These functions use only the system's calls and the runtime library, not the log, so that tools
// that must not open a log are built from the same source.
#pragma once

// Each returns null, or the text of the failure. A resource has the type of raw data and language
// 0.
const wchar_t* QvStoreResource(const wchar_t* name, const wchar_t* modulePath,
                               const wchar_t* dataPath);
const wchar_t* QvExtractResource(const wchar_t* name, const wchar_t* modulePath,
                                 const wchar_t* dataPath);

// Data files into module files and out of them.
//
// These functions stand on the system's calls and the runtime library alone and know nothing of the
// log, so that tools which must not open one are built from the same source.
#pragma once

// Each gives null, or the text of what failed. A resource is of the type of raw data, language 0.
const wchar_t* QvStoreResource(const wchar_t* name, const wchar_t* modulePath,
                               const wchar_t* dataPath);
const wchar_t* QvExtractResource(const wchar_t* name, const wchar_t* modulePath,
                                 const wchar_t* dataPath);

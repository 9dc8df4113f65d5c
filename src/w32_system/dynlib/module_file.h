// Reading module files without loading them.
//
// These functions stand on the system's calls alone and know nothing of the log, so that tools
// which must not open one are built from the same source.
#pragma once

#include <cstdint>

// Copies the section of that name, without regard to case, into a block of malloc's. QV_OK,
// QV_ERR_NOFILE or QV_ERR_SYSTEM; on failure the block is null and the size 0.
int QvReadSection(const wchar_t* path, const char* name, void** data, uint32_t* size);

// The patch number of the version block, 0 without one.
uint32_t QvReadPatchNumber(const wchar_t* path);

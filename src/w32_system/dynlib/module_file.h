// Reading module files without loading them.
//
// These functions stand on the system's calls alone and know nothing of the log, so that tools
// which must not open one are built from the same source.
#pragma once

#include <cstdint>

// A section of a module file, as the file's section table has it.
struct QvSection
{
    char name[9];    // terminated; a name may have all 8 characters
    uint32_t offset; // in the file
    uint32_t size;   // bytes in the file
};

// Calls for each section in the order of the table, as far as the table lies within the file, until
// the call gives false. QV_OK, QV_ERR_NOFILE or QV_ERR_SYSTEM.
int QvListSections(const wchar_t* path, bool (*each)(const QvSection& section, void* argument),
                   void* argument);

// Copies the section of that name, without regard to case, into a block of malloc's. QV_OK,
// QV_ERR_NOFILE or QV_ERR_SYSTEM; on failure the block is null and the size 0.
int QvReadSection(const wchar_t* path, const char* name, void** data, uint32_t* size);

// The patch number of the version block, 0 without one.
uint32_t QvReadPatchNumber(const wchar_t* path);

// Reading module files without loading them.
//
// These functions use only the system's calls, not the log, so that tools that must not open a log
// are built from the same source.
#pragma once

#include <cstdint>

// An entry of a module file's section table.
struct QvSection
{
    char name[9];    // terminated; a name may have all 8 characters
    uint32_t offset; // in the file
    uint32_t size;   // bytes in the file
};

// Calls each for every section in the order of the table, as far as the table is inside the file,
// until each returns false. QV_OK, QV_ERR_NOFILE or QV_ERR_SYSTEM.
int QvListSections(const wchar_t* path, bool (*each)(const QvSection& section, void* argument),
                   void* argument);

// Copies the section with that name, without regard to case, into a block from malloc. QV_OK,
// QV_ERR_NOFILE or QV_ERR_SYSTEM; on failure the block is null and the size 0.
int QvReadSection(const wchar_t* path, const char* name, void** data, uint32_t* size);

// The patch number of the version block, 0 without one.
uint32_t QvReadPatchNumber(const wchar_t* path);

// The system's list of page files.
#pragma once

#include <cstdint>

// The greatest size, in MiB, of the page file that the first line of the list names: "name initial
// maximal". 0 if the line has no such number, or the system manages the size by itself.
uint32_t QvMaxPageFileMegabytes(const wchar_t* list);

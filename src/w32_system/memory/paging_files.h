// The system's list of page files.
#pragma once

#include <cstdint>

// The maximal size, in MiB, of the page file in the first line of the list: "name initial maximal".
// 0 if the line has no such number, or the system manages the size itself.
uint32_t QvMaxPageFileMegabytes(const wchar_t* list);

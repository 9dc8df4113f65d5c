// The patch number in a module's version block.
#include <cstdlib>
#include <cstring>

#include <windows.h>

#include "module_file.h"

uint32_t QvReadPatchNumber(const wchar_t* path)
{
    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    if (size == 0)
        return 0;
    uint32_t number = 0;
    // Zeros after the block, for a value that is shorter than the number and at the block's end.
    void* const block = std::calloc(1, size_t{size} + sizeof number);
    if (!block)
        return 0;
    void* value = nullptr;
    UINT length = 0; // characters or bytes, as the block defines
    if (GetFileVersionInfoW(path, 0, size, block) &&
        VerQueryValueW(block, L"\\StringFileInfo\\040504b0\\PatchNumber", &value, &length) &&
        length > 0)
        std::memcpy(&number, value, sizeof number);
    std::free(block);
    return number;
}

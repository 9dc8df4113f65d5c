// Texts from a module's string tables.
//
// A string table is divided into blocks of 16 texts. A block is a resource of the type RT_STRING
// whose number is that of its texts divided by 16, plus 1. Each text begins with its length in
// 16-bit units and has no terminator; a missing text has the length 0.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr UINT block_size = 16;

struct Text
{
    const uint8_t* units = nullptr; // in the module's file, not always at an even address
    uint16_t length = 0;
};

// False with the last error set.
bool find_text(HINSTANCE module, UINT id, Text& text)
{
    const UINT block = id / block_size + 1;
    if (block > UINT16_MAX)
        return fail_with(ERROR_RESOURCE_NAME_NOT_FOUND);
    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(block), RT_STRING);
    if (!resource)
        return false;
    const size_t size = SizeofResource(module, resource);
    const auto* const bytes =
        static_cast<const uint8_t*>(LockResource(LoadResource(module, resource)));
    if (!bytes)
        return fail_with(ERROR_RESOURCE_DATA_NOT_FOUND);
    size_t at = 0;
    for (UINT i = 0; i <= id % block_size; ++i)
    {
        if (size - at < sizeof text.length)
            return fail_with(ERROR_INVALID_DATA);
        std::memcpy(&text.length, bytes + at, sizeof text.length);
        at += sizeof text.length;
        if ((size - at) / sizeof(wchar_t) < text.length)
            return fail_with(ERROR_INVALID_DATA);
        text.units = bytes + at;
        at += text.length * sizeof(wchar_t);
    }
    return true;
}

} // namespace

extern "C" int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size)
{
    if (!buffer || size < 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    Text text;
    if (!find_text(module, id, text))
    {
        if (size > 0)
            *buffer = L'\0';
        return 0;
    }
    if (size == 0)
    {
        // The caller wants the address of the text; buffer then points to a pointer.
        std::memcpy(buffer, &text.units, sizeof text.units);
        return text.length;
    }
    const int length = std::min<int>(text.length, size - 1);
    std::memcpy(buffer, text.units, static_cast<size_t>(length) * sizeof(wchar_t));
    buffer[length] = L'\0';
    return length;
}

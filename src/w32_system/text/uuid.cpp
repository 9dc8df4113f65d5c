// Unique identifiers and their text form.
#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"

extern "C" int QV_Generate_Uuid(UUID* pUuid)
{
    // An identifier that is unique only on this computer is a failure too.
    return UuidCreate(pUuid) == RPC_S_OK ? QV_OK : QV_ERR_SYSTEM;
}

extern "C" int QV_Parse_Uuid(const wchar_t*, UUID*)
{
    return QV_ERR_BADARG;
}

extern "C" int QV_Type_Uuid(const UUID* pUuid, wchar_t* pText)
{
    constexpr size_t text_size = 33; // 32 digits and the terminator
    const unsigned char* const tail = pUuid->Data4;
    _snwprintf(pText, text_size, L"%08x%04x%04x%02x%02x%02x%02x%02x%02x%02x%02x",
               static_cast<unsigned int>(pUuid->Data1), pUuid->Data2, pUuid->Data3, tail[0],
               tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
    return QV_OK;
}

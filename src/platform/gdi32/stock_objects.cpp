// Stock objects. Nothing is drawn with them: their users only need a handle.
#include "windows.h"

extern "C" HGDIOBJ GetStockObject(int object)
{
    constexpr LONG_PTR first_stock_handle = 0x00900010; // above the numbers of system colours
    return object == WHITE_BRUSH ? reinterpret_cast<HGDIOBJ>(first_stock_handle + object) : nullptr;
}

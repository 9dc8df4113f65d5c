// Rewrites format texts from the standard's 64-bit length "ll" to the runtime library's "I64". The
// format is not parsed, so "ll" in its plain text changes, too.
#include <cstring>

#include "argument_check.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\text\\text";

template <class Char> size_t LengthOf(const Char* text)
{
    size_t length = 0;
    while (text[length])
        ++length;
    return length;
}

template <class Char> Char* FindDoubleL(Char* text)
{
    for (; *text; ++text)
        if (text[0] == 'l' && text[1] == 'l')
            return text;
    return nullptr;
}

template <class Char> bool Has64BitLength(const Char* text)
{
    for (; *text; ++text)
        if (text[0] == 'I' && text[1] == '6' && text[2] == '4')
            return true;
    return false;
}

template <class Char> bool Rewrite(Char* format)
{
    Char* at = FindDoubleL(format);
    if (!at)
        return Has64BitLength(format);
    // The inserted text does not end in 'l', so it begins no new pair: the search continues after
    // it.
    for (; at; at = FindDoubleL(at + 3))
    {
        memmove(at + 3, at + 2, (LengthOf(at + 2) + 1) * sizeof(Char));
        at[0] = 'I';
        at[1] = '6';
        at[2] = '4';
    }
    return true;
}

} // namespace

extern "C" bool QV_Conv64FmtSpecA(char* format)
{
    if (!format)
        return QvRefuse(0, L"format==NULL", L"QV_Conv64FmtSpecA: No format.", source_name,
                        __LINE__) != 0;
    return Rewrite(format);
}

extern "C" bool QV_Conv64FmtSpecW(wchar_t* format)
{
    if (!format)
        return QvRefuse(0, L"format==NULL", L"QV_Conv64FmtSpecW: No format.", source_name,
                        __LINE__) != 0;
    return Rewrite(format);
}

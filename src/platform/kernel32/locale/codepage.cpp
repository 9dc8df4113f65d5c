// Code page conversion. The active code page is UTF-8.
#include <cstring>
#include <string>

#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

// Both directions share this. If the result doesn't fit, the call fails, after storing as much as
// fits.
template <class From, class To, class Measure, class Convert>
int convert_text(UINT codePage, const From* text, int length, To* out, int outSize, Measure measure,
                 Convert convert)
{
    if (!text || length == 0 || length < -1 || outSize < 0 || (outSize > 0 && !out) ||
        (codePage != CP_ACP && codePage != CP_UTF8))
        return fail_with(ERROR_INVALID_PARAMETER);
    const size_t units = length == -1 ? measure(text) + 1 : static_cast<size_t>(length);
    // A size of 0 requests the length.
    const auto capacity = static_cast<size_t>(outSize);
    const size_t needed = convert(text, units, outSize ? out : nullptr, capacity);
    if (needed > INT32_MAX)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (outSize && needed > capacity)
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(needed);
}

} // namespace

extern "C" int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR text, int length, LPSTR out,
                                   int outSize, LPCSTR, LPBOOL usedDefault)
{
    if (usedDefault)
        *usedDefault = FALSE;
    return convert_text(codePage, text, length, out, outSize, wide_length,
                        [](const wchar_t* from, size_t units, char* to, size_t capacity)
                        { return utf8_from_wide(from, units, to, capacity); });
}

extern "C" int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR out,
                                   int outSize)
{
    if (text && length >= -1 && (flags & MB_ERR_INVALID_CHARS) &&
        !is_utf8(text, length == -1 ? std::strlen(text) : static_cast<size_t>(length)))
        return fail_with(ERROR_NO_UNICODE_TRANSLATION);
    return convert_text(codePage, text, length, out, outSize, std::strlen,
                        [](const char* from, size_t units, wchar_t* to, size_t capacity)
                        { return wide_from_utf8(from, units, to, capacity); });
}

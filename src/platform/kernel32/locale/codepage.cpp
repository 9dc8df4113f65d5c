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
int convert_text(UINT code_page, const From* text, int length, To* out, int out_size,
                 Measure measure, Convert convert)
{
    if (!text || length == 0 || length < -1 || out_size < 0 || (out_size > 0 && !out) ||
        (code_page != CP_ACP && code_page != CP_UTF8))
        return fail_with(ERROR_INVALID_PARAMETER);
    const size_t units = length == -1 ? measure(text) + 1 : static_cast<size_t>(length);
    // A size of 0 requests the length.
    const auto capacity = static_cast<size_t>(out_size);
    const size_t needed = convert(text, units, out_size ? out : nullptr, capacity);
    if (needed > INT32_MAX)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (out_size && needed > capacity)
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(needed);
}

bool has_lone_surrogate(const wchar_t* text, size_t length)
{
    for (size_t i = 0; i < length; ++i)
    {
        const bool first = (text[i] & 0xFC00) == 0xD800;
        const bool paired = first && i + 1 < length && (text[i + 1] & 0xFC00) == 0xDC00;
        if ((text[i] & 0xF800) == 0xD800 && !paired)
            return true;
        i += paired;
    }
    return false;
}

} // namespace

// A character that the code page lacks doesn't exist, so UTF-8 takes no place for it.
extern "C" int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int length, LPSTR out,
                                   int out_size, LPCSTR default_text, LPBOOL used_default)
{
    const bool onto_itself = text && static_cast<const void*>(text) == out;
    if (onto_itself || (code_page == CP_UTF8 && (default_text || used_default)))
        return fail_with(ERROR_INVALID_PARAMETER);
    if (code_page == CP_UTF8 && (flags & ~WC_ERR_INVALID_CHARS))
        return fail_with(ERROR_INVALID_FLAGS);
    if (text && length >= -1 && (flags & WC_ERR_INVALID_CHARS) &&
        has_lone_surrogate(text, length == -1 ? wide_length(text) : static_cast<size_t>(length)))
        return fail_with(ERROR_NO_UNICODE_TRANSLATION);
    if (used_default)
        *used_default = FALSE;
    return convert_text(code_page, text, length, out, out_size, wide_length,
                        [](const wchar_t* from, size_t units, char* to, size_t capacity)
                        { return utf8_from_wide(from, units, to, capacity); });
}

extern "C" int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int length, LPWSTR out,
                                   int out_size)
{
    if (code_page == CP_UTF8 && (flags & ~MB_ERR_INVALID_CHARS))
        return fail_with(ERROR_INVALID_FLAGS);
    if (text && static_cast<const void*>(text) == out)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (text && length >= -1 && (flags & MB_ERR_INVALID_CHARS) &&
        !is_utf8(text, length == -1 ? std::strlen(text) : static_cast<size_t>(length)))
        return fail_with(ERROR_NO_UNICODE_TRANSLATION);
    return convert_text(code_page, text, length, out, out_size, std::strlen,
                        [](const char* from, size_t units, wchar_t* to, size_t capacity)
                        { return wide_from_utf8(from, units, to, capacity); });
}

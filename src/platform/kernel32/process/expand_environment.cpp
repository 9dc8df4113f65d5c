// ExpandEnvironmentStringsW.
//
// The system's variable names ignore case, those here don't: a name is looked up as written, then
// in capitals. A program with more rights than its caller finds no variable at all.
#include <new>
#include <string>
#include <string_view>

#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

const char* variable(const std::string& name)
{
    if (name.empty())
        return nullptr;
    if (const char* const value = environment(name.c_str()))
        return value;
    std::string capitals = name;
    for (char& c : capitals)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return environment(capitals.c_str());
}

// A name that is no variable stays, with its percent signs; the second sign may then begin another
// name.
std::string expanded(std::string_view text)
{
    constexpr auto none = std::string_view::npos;
    std::string result;
    for (size_t at = 0; at < text.size();)
    {
        const size_t begin = text.find('%', at);
        const size_t end = begin == none ? none : text.find('%', begin + 1);
        if (end == none)
            return result.append(text.substr(at));
        result += text.substr(at, begin - at);
        const char* const value = variable(std::string(text.substr(begin + 1, end - begin - 1)));
        result += value ? std::string_view(value) : text.substr(begin, end - begin);
        at = value ? end + 1 : end;
    }
    return result;
}

} // namespace

extern "C" DWORD ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size)
{
    if (!text || (!buffer && size != 0))
        return static_cast<DWORD>(fail_with(ERROR_INVALID_PARAMETER));
    try
    {
        const std::string result = expanded(to_utf8(text));
        const DWORD count = copy_to_caller(result, buffer, size);
        return count < size ? count + 1 : count; // the terminator counts in both cases
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, DWORD{});
    }
}

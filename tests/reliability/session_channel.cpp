// The debug string channel: a capture, and the windows of the debug framework.
#include <atomic>

#include "session.h"

#include <commctrl.h>

namespace sweep
{

namespace
{

std::atomic<int> s_texts;

void collect(const wchar_t*)
{
    ++s_texts;
}

int rows(const wchar_t* title)
{
    const HWND window = FindWindowW(L"PLINTH_DEBUG_WINDOW", title);
    const HWND list = FindWindowExW(window, nullptr, L"SysListView32", nullptr);
    return list ? static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)) : -1;
}

} // namespace

void channel_part(Session& session)
{
    // With a fault the listener may lack its objects or its thread, and says so to nobody: what is
    // asked of it then is that it comes and goes.
    s_texts = 0;
    {
        const CQvDebugOutputCapture capture(collect);
        if (session.strict())
            session.comes("a captured text",
                          []
                          {
                              OutputDebugStringA("captured");
                              return s_texts > 0;
                          });
        else
            OutputDebugStringA("captured, perhaps");
    }
    {
        const CDebugFramework framework(nullptr);
        if (session.strict())
            session.comes("a row",
                          []
                          {
                              OutputDebugStringA("|wndid:0| a row");
                              return rows(L"Tracing Window ID: 0") > 0;
                          });
        else
            OutputDebugStringA("|wndid:0| a row, perhaps");
    }
    session.holds("a debug window stayed", FindWindowW(L"PLINTH_DEBUG_WINDOW", nullptr) == nullptr);
}

} // namespace sweep

// The debug framework with windows: selects the window for each text, and owns the one framework
// that the library keeps.
#include <memory>
#include <new>

#include <windows.h>

#include <tchar.h>

#include "debug_framework.h"
#include "debug_window.h"
#include "frame.h"
#include "plinth_w32_system.h"
#include "window_tag.h"

namespace
{

constexpr size_t text_limit = 2048; // characters, the same as for a row

// The text without its tag.
void WithoutTag(const wchar_t* text, const QvWindowTag& tag, wchar_t (&shown)[text_limit])
{
    const int before = static_cast<int>(tag.tag - text);
    _snwprintf(shown, text_limit - 1, L"%.*s%s", before, text, tag.behind);
    shown[text_limit - 1] = L'\0';
}

} // namespace

CDebugFramework::CDebugFramework(HWND hParent) : CDebugFramework(false)
{
    m_hParent = hParent && IsWindow(hParent) ? hParent : nullptr;
    CreateDebugWindow(0);
    StartThreads(qv_debugwnd_source);
}

CDebugFramework::~CDebugFramework()
{
    StopThreads();
    QvFrameworksAtFork::TakeOut(*this);
    for (const auto& [id, window] : m_Windows)
        delete window;
}

void CDebugFramework::CreateDebugWindow(int nId)
try
{
    if (m_Windows.contains(nId))
        return;
    auto window = std::make_unique<CDebugWindow>(m_hParent, nId);
    if (m_Windows.emplace(nId, window.get()).second)
        static_cast<void>(window.release());
}
catch (const std::bad_alloc&)
{
    // The map is unchanged; code that needs the window finds it missing.
}

void CDebugFramework::AddItem(const wchar_t* text)
{
    const QvWindowTag tag = QvFindWindowTag(text);
    if (tag.id == qv_no_window)
        return;
    auto found = m_Windows.find(tag.id);
    if (found == m_Windows.end() && m_bFirstItem && !m_Windows.empty())
    {
        // Nothing has been shown yet: the first identifier uses the first window.
        auto first = m_Windows.extract(m_Windows.begin());
        first.key() = tag.id;
        first.mapped()->SetId(tag.id);
        found = m_Windows.insert(std::move(first)).position;
    }
    else if (found == m_Windows.end())
    {
        CreateDebugWindow(tag.id);
        found = m_Windows.find(tag.id);
    }
    if (found == m_Windows.end())
    {
        MessageBoxW(nullptr, L"???", L"", 0);
        return;
    }
    m_bFirstItem = false;
    wchar_t shown[text_limit];
    WithoutTag(text, tag, shown);
    found->second->AddRow(shown);
}

extern "C" void DiagOutputWnd(HWND parent, int recreate)
try
{
    if (QvIsDetaching())
        return;
    std::unique_ptr<CDebugFramework>& framework = QvDebugFramework();
    if (framework && !recreate)
        return;
    framework.reset(); // first, because the channel has room for one listener
    framework = std::make_unique<CDebugFramework>(parent);
}
catch (const std::bad_alloc&)
{
    // There is no framework now; the next call tries again.
}

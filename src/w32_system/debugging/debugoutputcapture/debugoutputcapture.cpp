// Captures the texts of the debug string channel and passes them to a callback.
#include <new>

#include "debugging/debugwnd/debug_framework.h"
#include "plinth_w32_system.h"

class CQvDbgCapt : public CDebugFramework
{
public:
    explicit CQvDbgCapt(void (*pfn)(const wchar_t*)) : CDebugFramework(true), m_pfnCallback(pfn)
    {
        StartThreads(qv_capture_source);
    }
    // The threads call AddItem, so they end while this object is still complete.
    ~CQvDbgCapt() override { StopThreads(); }

    void AddItem(const wchar_t* text) override
    {
        if (m_pfnCallback)
            m_pfnCallback(text);
    }

private:
    void (*const m_pfnCallback)(const wchar_t*);
};

CQvDebugOutputCapture::CQvDebugOutputCapture(void (*pfn)(const wchar_t*))
    : m_pCapt(new (std::nothrow) CQvDbgCapt(pfn)), m_pfnCallback(pfn)
{
}

CQvDebugOutputCapture::~CQvDebugOutputCapture()
{
    delete m_pCapt;
}

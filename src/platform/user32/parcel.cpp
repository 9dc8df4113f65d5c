#include "parcel.h"

#include <algorithm>
#include <vector>

#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

class TextIn : public Parcel
{
public:
    explicit TextIn(const wchar_t* text) : m_text(text, text + wide_length(text) + 1) {}
    LPARAM contents() override { return reinterpret_cast<LPARAM>(m_text.data()); }

private:
    std::vector<wchar_t> m_text;
};

class TextOut : public Parcel
{
public:
    TextOut(wchar_t* target, size_t size) : m_target(target), m_text(size, L'\0') {}
    LPARAM contents() override { return reinterpret_cast<LPARAM>(m_text.data()); }
    void bring_back() override
    {
        const auto end = std::find(m_text.begin(), m_text.end(), L'\0');
        const auto length =
            std::min<ptrdiff_t>(end - m_text.begin() + 1, static_cast<ptrdiff_t>(m_text.size()));
        std::copy_n(m_text.begin(), length, m_target);
    }

private:
    wchar_t* const m_target;
    std::vector<wchar_t> m_text;
};

} // namespace

namespace platform
{

std::unique_ptr<Parcel> make_text_parcel(UINT message, WPARAM wParam, LPARAM lParam)
{
    if (lParam == 0)
        return nullptr;
    if (message == WM_SETTEXT)
        return std::make_unique<TextIn>(reinterpret_cast<const wchar_t*>(lParam));
    if (message == WM_GETTEXT)
        return std::make_unique<TextOut>(reinterpret_cast<wchar_t*>(lParam), wParam);
    return nullptr;
}

} // namespace platform

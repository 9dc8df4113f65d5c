#include "list_parcel.h"

#include <algorithm>
#include <vector>

#include "commctrl.h"
#include "system/text.h"

using namespace platform;

namespace
{

// A structure of the list view with the text that it points to. A result from the receiver brings
// the structure back, with the sender's own text pointer, and the text.
template <class Structure> class StructureParcel : public Parcel
{
public:
    StructureParcel(Structure* original, bool has_text, bool comes_out)
        : m_original(original), m_copy(*original), m_comes_out(comes_out)
    {
        if (!has_text || !original->pszText)
            return;
        if (comes_out)
            m_text.resize(static_cast<size_t>(std::max(original->cchTextMax, 0)));
        else
            m_text.assign(original->pszText,
                          original->pszText + wide_length(original->pszText) + 1);
        m_copy.pszText = m_text.data();
    }
    LPARAM contents() override { return reinterpret_cast<LPARAM>(&m_copy); }
    void bring_back() override
    {
        if (!m_comes_out)
            return;
        wchar_t* const text = m_original->pszText;
        const auto end = std::find(m_text.begin(), m_text.end(), L'\0');
        if (end != m_text.end()) // else the buffer has no room at all
            std::copy(m_text.begin(), end + 1, text);
        *m_original = m_copy;
        m_original->pszText = text;
    }

private:
    Structure* const m_original;
    Structure m_copy;
    const bool m_comes_out;
    std::vector<wchar_t> m_text;
};

} // namespace

namespace platform
{

bool is_list_pointer_message(UINT message)
{
    switch (message)
    {
    case LVM_INSERTCOLUMNW:
    case LVM_SETCOLUMNW:
    case LVM_GETCOLUMNW:
    case LVM_INSERTITEMW:
    case LVM_SETITEMW:
    case LVM_SETITEMTEXTW:
    case LVM_GETITEMW:
    case LVM_GETITEMTEXTW:
        return true;
    default:
        return false;
    }
}

std::unique_ptr<Parcel> make_list_parcel(UINT message, WPARAM, LPARAM lParam)
{
    if (!is_list_pointer_message(message) || lParam == 0)
        return nullptr;
    if (message == LVM_INSERTCOLUMNW || message == LVM_SETCOLUMNW || message == LVM_GETCOLUMNW)
    {
        auto* const column = reinterpret_cast<LVCOLUMNW*>(lParam);
        return std::make_unique<StructureParcel<LVCOLUMNW>>(column, (column->mask & LVCF_TEXT) != 0,
                                                            message == LVM_GETCOLUMNW);
    }
    auto* const item = reinterpret_cast<LVITEMW*>(lParam);
    const bool text =
        message == LVM_SETITEMTEXTW || message == LVM_GETITEMTEXTW || (item->mask & LVIF_TEXT) != 0;
    return std::make_unique<StructureParcel<LVITEMW>>(
        item, text, message == LVM_GETITEMW || message == LVM_GETITEMTEXTW);
}

} // namespace platform

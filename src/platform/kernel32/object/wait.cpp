// WaitForSingleObject and WaitForMultipleObjects.
#include <algorithm>
#include <array>
#include <optional>

#include "handle_table.h"
#include "kernel32/thread/thread.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "waitable.h"
#include "windows.h"

using namespace platform;

namespace
{

DWORD refuse(DWORD error)
{
    fail_with(error);
    return WAIT_FAILED;
}

// The objects of a wait, held as long as this object.
class Waited
{
public:
    // A system error, or 0.
    DWORD add(HANDLE handle)
    {
        std::optional<Pin<Object>>& pin = m_held[m_count];
        pin.emplace(handle);
        Waitable* const object = *pin ? (*pin)->waitable() : nullptr;
        if (!object)
            return ERROR_INVALID_HANDLE;
        m_pins[m_count] = &pin->base();
        m_objects[m_count++] = object;
        return 0;
    }
    bool has_duplicates() const
    {
        auto sorted = m_objects;
        const auto end = sorted.begin() + static_cast<ptrdiff_t>(m_count);
        std::sort(sorted.begin(), end);
        return std::adjacent_find(sorted.begin(), end) != end;
    }
    DWORD wait(bool for_all, DWORD milliseconds)
    {
        const WaitingPin mark(m_pins.data(), m_count);
        return for_all ? wait_for_all(m_objects.data(), m_count, milliseconds)
                       : wait_for_one(m_objects.data(), m_count, milliseconds);
    }

private:
    size_t m_count = 0;
    std::array<std::optional<Pin<Object>>, MAXIMUM_WAIT_OBJECTS> m_held;
    std::array<PinBase*, MAXIMUM_WAIT_OBJECTS> m_pins{};
    std::array<Waitable*, MAXIMUM_WAIT_OBJECTS> m_objects{};
};

} // namespace

extern "C" DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    int error = 0;
    if (api_fault("WaitForSingleObject", error))
        return refuse(static_cast<DWORD>(error));
    if (is_pseudo_handle(object))
    {
        Sleep(milliseconds);
        return WAIT_TIMEOUT;
    }
    Pin<Object> pinned(object);
    if (!pinned)
        return WAIT_FAILED;
    PinBase* const pin = &pinned.base();
    const WaitingPin mark(&pin, 1);
    return pinned->wait(milliseconds);
}

extern "C" DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all,
                                        DWORD milliseconds)
{
    int error = 0;
    if (api_fault("WaitForMultipleObjects", error))
        return refuse(static_cast<DWORD>(error));
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || !objects)
        return refuse(ERROR_INVALID_PARAMETER);
    Waited waited;
    for (DWORD i = 0; i < count; ++i)
        if (const DWORD refused = waited.add(objects[i]))
            return refuse(refused);
    if (all && waited.has_duplicates())
        return refuse(ERROR_INVALID_PARAMETER);
    return waited.wait(all != 0, milliseconds);
}

// Events, unnamed in the memory of the process or named in shared memory.
#include <new>
#include <optional>

#include "event_state.h"
#include "handle_table.h"
#include "named_state.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/text.h"
#include "waitable.h"
#include "windows.h"

using namespace platform;

namespace
{

class EventObject : public Object, public Waitable
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::event;

    EventObject() : Object(object_kind) {}

    DWORD wait(DWORD milliseconds) override { return m_use.wait(milliseconds); }
    void set() { m_use.set(); }
    void reset() { m_use.reset(); }
    // In the memory of the process.
    void start(bool manual_reset, bool initial)
    {
        m_use.is_manual_reset = manual_reset;
        m_use.words->signalled.store(initial, std::memory_order_relaxed);
    }
    // In shared memory, under a name that exists or is made. Each returns 0 or a system error.
    DWORD create(const char* name, bool manual_reset, bool initial)
    {
        return use(m_state.create(name, EventState::image(manual_reset, initial)));
    }
    DWORD open(const char* name) { return use(m_state.open(name)); }
    bool existed() const { return m_state.existed(); }

    Waitable* waitable() override { return this; }
    bool unsignalled(WaitWord& word) override
    {
        word = {&m_use.words->signalled, m_use.words->signalled.load(), m_use.is_shared};
        return word.value != 1;
    }
    bool try_take() override { return m_use.try_take(); }
    bool reserve(uint32_t token) override { return m_use.try_take(token); }
    void keep(uint32_t token) override { m_use.keep(token); }
    void give_back(uint32_t token) override { m_use.give_back(token); }
    void enter() override { ++m_use.words->waiters; }
    void leave() override { --m_use.words->waiters; }
    void pass_on() override
    {
        if (m_use.words->signalled.load() == 1 && m_use.words->waiters.load() != 0)
            futex_wake(&m_use.words->signalled, 1, m_use.is_shared);
    }

private:
    DWORD use(DWORD error)
    {
        if (error)
            return error;
        const std::optional<EventUse> found = EventUse::of_shared(m_state.operator->());
        if (!found)
            return ERROR_INVALID_HANDLE;
        m_use = *found;
        return 0;
    }

    NamedState<EventState> m_state{NamedKind::event};
    EventUse m_use{m_state.operator->(), false, false};
};

HANDLE create_event(const char* name, bool manual_reset, bool initial)
{
    int error = 0;
    if (api_fault("CreateEvent", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    auto* const event = new (std::nothrow) EventObject;
    if (!event)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!name || !*name)
        event->start(manual_reset, initial);
    else if (const DWORD refused = event->create(name, manual_reset, initial))
    {
        delete event;
        fail_with(refused);
        return nullptr;
    }
    const bool existed = event->existed();
    const HANDLE handle = insert_handle(event);
    if (handle)
        fail_with(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

} // namespace

extern "C" HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manual_reset, BOOL initial_state,
                               LPCSTR name)
try
{
    return create_event(name, manual_reset != 0, initial_state != 0);
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manual_reset, BOOL initial_state,
                               LPCWSTR name)
try
{
    if (!name)
        return create_event(nullptr, manual_reset != 0, initial_state != 0);
    return create_event(to_utf8(name).c_str(), manual_reset != 0, initial_state != 0);
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" HANDLE OpenEventA(DWORD, BOOL, LPCSTR name)
try
{
    if (!name || !*name)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* const event = new (std::nothrow) EventObject;
    const DWORD error = event ? event->open(name) : ERROR_NOT_ENOUGH_MEMORY;
    if (error)
    {
        delete event;
        fail_with(error);
        return nullptr;
    }
    return insert_handle(event);
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" BOOL SetEvent(HANDLE event)
{
    const Pin<EventObject> object(event);
    if (!object)
        return FALSE;
    object->set();
    return TRUE;
}

extern "C" BOOL ResetEvent(HANDLE event)
{
    const Pin<EventObject> object(event);
    if (!object)
        return FALSE;
    object->reset();
    return TRUE;
}

// Events, unnamed in the memory of the process and named in shared memory, and waiting.
#include <new>
#include <string_view>

#include "event_state.h"
#include "handle_table.h"
#include "named_object.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "thread.h"
#include "windows.h"

using namespace platform;

namespace
{

class EventObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::event;

    EventObject() : Object(object_kind), m_state(&m_own) {}
    ~EventObject() override
    {
        if (is_shared())
            sys::munmap(m_state, sizeof *m_state);
    }

    DWORD wait(DWORD milliseconds) override { return m_state->wait(milliseconds, is_shared()); }
    void set() { m_state->set(is_shared()); }
    void reset() { m_state->reset(); }
    // In the memory of the process.
    void start(bool manual_reset, bool initial)
    {
        m_own.manual_reset.store(manual_reset, std::memory_order_relaxed);
        m_own.signalled.store(initial, std::memory_order_relaxed);
    }
    // In shared memory, under a name that lives or is made. Each gives 0 or a system error.
    DWORD create(const char* name, bool manual_reset, bool initial)
    {
        const auto image = EventState::image(manual_reset, initial);
        const std::string_view bytes(reinterpret_cast<const char*>(image.data()), sizeof image);
        return map(m_named.create(NamedKind::event, name, sizeof *m_state, bytes));
    }
    DWORD open(const char* name) { return map(m_named.open(NamedKind::event, name)); }
    bool existed() const { return m_named.existed(); }

private:
    bool is_shared() const { return m_state != &m_own; }

    DWORD map(DWORD error)
    {
        if (error)
            return error;
        if (m_named.size() < sizeof *m_state) // not one of ours
            return ERROR_INVALID_HANDLE;
        void* const view = sys::mmap(nullptr, sizeof *m_state, PROT_READ | PROT_WRITE, MAP_SHARED,
                                     m_named.fd(), 0);
        if (view == MAP_FAILED)
            return system_error(errno);
        m_state = static_cast<EventState*>(view);
        return 0;
    }

    EventState m_own{};
    EventState* m_state;
    NamedObject m_named;
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

extern "C" HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                               LPCSTR name)
try
{
    return create_event(name, manualReset != 0, initialState != 0);
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                               LPCWSTR name)
try
{
    if (!name)
        return create_event(nullptr, manualReset != 0, initialState != 0);
    return create_event(to_utf8(name).c_str(), manualReset != 0, initialState != 0);
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

extern "C" DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    int error = 0;
    if (api_fault("WaitForSingleObject", error))
    {
        fail_with(static_cast<DWORD>(error));
        return WAIT_FAILED;
    }
    Pin<Object> pinned(object);
    if (!pinned)
        return WAIT_FAILED;
    const WaitingPin mark(pinned.base());
    return pinned->wait(milliseconds);
}

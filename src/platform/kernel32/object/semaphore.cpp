// Semaphores, unnamed in the memory of the process or named in shared memory.
//
// A foreign program may have written the count of a named one: a count above the maximum counts as
// 0, and the next release corrects it. Each handle reads the maximum once.
#include <array>
#include <new>

#include "event_state.h"
#include "handle_table.h"
#include "named_state.h"
#include "semaphore_state.h"
#include "system/faults.h"
#include "system/text.h"
#include "waitable.h"
#include "windows.h"

using namespace platform;

namespace
{

class SemaphoreObject : public Object, public Waitable
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::semaphore;

    SemaphoreObject() : Object(object_kind) {}

    // Each returns 0 or a system error.
    DWORD create(const char* name, uint32_t initial, uint32_t maximum)
    {
        if (name && *name)
            return take_maximum(m_state.create(name, std::array{initial, uint32_t{0}, maximum}));
        m_state->count = initial;
        m_state->maximum = maximum;
        return take_maximum(0);
    }
    DWORD open(const char* name) { return take_maximum(m_state.open(name)); }
    bool existed() const { return m_state.existed(); }

    bool release(uint32_t more, uint32_t& before)
    {
        uint32_t now = m_state->count.load();
        do
        {
            before = available(now);
            if (more > m_maximum - before)
                return false;
        } while (!m_state->count.compare_exchange_weak(now, before + more));
        wake(more);
        return true;
    }

    Waitable* waitable() override { return this; }
    bool unsignalled(WaitWord& word) override
    {
        word = {&m_state->count, m_state->count.load(), m_state.is_shared()};
        return available(word.value) == 0;
    }
    bool try_take() override
    {
        uint32_t now = m_state->count.load();
        while (available(now) != 0)
            if (m_state->count.compare_exchange_weak(now, now - 1))
                return true;
        return false;
    }
    bool reserve(uint32_t) override { return try_take(); }
    void keep(uint32_t) override {}
    void give_back(uint32_t) override
    {
        uint32_t before = 0;
        release(1, before);
    }
    void enter() override { ++m_state->waiters; }
    void leave() override { --m_state->waiters; }
    void pass_on() override
    {
        if (available(m_state->count.load()) != 0)
            wake(1);
    }
    DWORD wait(DWORD milliseconds) override
    {
        Waitable* const self = this;
        return wait_for_one(&self, 1, milliseconds);
    }

private:
    uint32_t available(uint32_t count) const { return count <= m_maximum ? count : 0; }

    void wake(uint32_t threads)
    {
        if (m_state->waiters.load() != 0)
            futex_wake(&m_state->count, static_cast<int>(threads), m_state.is_shared());
    }

    DWORD take_maximum(DWORD error)
    {
        if (error)
            return error;
        m_maximum = m_state->maximum;
        return m_maximum != 0 && m_maximum <= MAXLONG ? 0 : ERROR_INVALID_HANDLE;
    }

    NamedState<SemaphoreState> m_state{NamedKind::semaphore};
    uint32_t m_maximum = 0;
};

HANDLE refuse(DWORD error)
{
    fail_with(error);
    return nullptr;
}

// prepare: sets the semaphore up as the caller wants; 0 or a system error.
template <class Prepare> HANDLE new_semaphore(const char* fault_name, Prepare prepare)
{
    int error = 0;
    if (api_fault(fault_name, error))
        return refuse(static_cast<DWORD>(error));
    auto* const semaphore = new (std::nothrow) SemaphoreObject;
    const DWORD refused = semaphore ? prepare(*semaphore) : ERROR_NOT_ENOUGH_MEMORY;
    if (refused)
    {
        delete semaphore;
        return refuse(refused);
    }
    const bool existed = semaphore->existed();
    const HANDLE handle = insert_handle(semaphore);
    if (handle)
        fail_with(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

// Calls with a wide name converted to UTF-8.
template <class Call> HANDLE with_narrow(LPCWSTR name, Call call)
{
    try
    {
        return name ? call(to_utf8(name).c_str()) : call(nullptr);
    }
    catch (const std::bad_alloc&)
    {
        return refuse(ERROR_NOT_ENOUGH_MEMORY);
    }
}

} // namespace

extern "C" HANDLE CreateSemaphoreA(LPSECURITY_ATTRIBUTES, LONG initial, LONG maximum, LPCSTR name)
{
    if (initial < 0 || maximum <= 0 || initial > maximum)
        return refuse(ERROR_INVALID_PARAMETER);
    return new_semaphore("CreateSemaphore",
                         [&](SemaphoreObject& made) {
                             return made.create(name, static_cast<uint32_t>(initial),
                                                static_cast<uint32_t>(maximum));
                         });
}

extern "C" HANDLE CreateSemaphoreW(LPSECURITY_ATTRIBUTES security, LONG initial, LONG maximum,
                                   LPCWSTR name)
{
    return with_narrow(name, [&](const char* narrow)
                       { return CreateSemaphoreA(security, initial, maximum, narrow); });
}

extern "C" HANDLE OpenSemaphoreW(DWORD, BOOL, LPCWSTR name)
{
    if (!name || !*name)
        return refuse(ERROR_INVALID_PARAMETER);
    return with_narrow(name,
                       [](const char* narrow)
                       {
                           const HANDLE handle =
                               new_semaphore("OpenSemaphore", [&](SemaphoreObject& joined)
                                             { return joined.open(narrow); });
                           if (handle)
                               SetLastError(ERROR_SUCCESS); // not ERROR_ALREADY_EXISTS
                           return handle;
                       });
}

extern "C" BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LPLONG previous)
{
    const Pin<SemaphoreObject> object(semaphore);
    if (!object)
        return FALSE;
    if (count <= 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    uint32_t before = 0;
    if (!object->release(static_cast<uint32_t>(count), before))
        return fail_with(ERROR_TOO_MANY_POSTS);
    if (previous)
        *previous = static_cast<LONG>(before);
    return TRUE;
}

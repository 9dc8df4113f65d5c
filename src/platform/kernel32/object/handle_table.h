// One process-wide table of kernel handles.
//
// A HANDLE names a slot by index and generation, so that a stale or foreign handle is recognised
// and returns ERROR_INVALID_HANDLE. Looking a handle up takes no lock: a pin counts itself into the
// slot's word, and an object that is closed while pinned is destroyed at the last unpin. HANDLE
// values are never null, never INVALID_HANDLE_VALUE.
#pragma once

#include "windef.h"

namespace platform
{

class Waitable;

enum class ObjectKind : unsigned char
{
    file,
    search,
    event,
    semaphore,
    mapping,
    thread,
    event_source,
    resource_update,
    socket,
};

// The other kinds are closed by a call of their own; CloseHandle refuses them.
constexpr bool is_closed_by_close_handle(ObjectKind kind)
{
    return kind != ObjectKind::search && kind != ObjectKind::event_source &&
           kind != ObjectKind::resource_update;
}

// The object of a handle. Owned by the table from insert() on; the destructor releases what the
// object holds, on the thread that closes it or removes its last pin.
class Object
{
public:
    explicit Object(ObjectKind kind) : m_kind(kind) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;
    ObjectKind kind() const { return m_kind; }
    // Releases resources whose release may fail with an error that CloseHandle reports. Called
    // once, with no pin left: by CloseHandle, or by the last unpin, where the result is lost. A
    // system error, or 0.
    virtual DWORD close() { return 0; }
    // Waits until the object is signalled and takes the signal: WAIT_OBJECT_0, WAIT_TIMEOUT or
    // WAIT_FAILED with the last error set.
    virtual DWORD wait(DWORD milliseconds);
    // For a wait on several objects; null if the object is never signalled.
    virtual Waitable* waitable() { return nullptr; }

private:
    const ObjectKind m_kind;
};

// Takes ownership. Null with ERROR_TOO_MANY_OPEN_FILES or ERROR_NOT_ENOUGH_MEMORY if there is no
// room; the object is then deleted.
HANDLE insert_handle(Object* object);

// How many handles are open, for tests.
unsigned handles_in_use();

// The handles of the current process and thread, which are in no table: closing them does nothing,
// and a wait for them only ends by its time-out.
inline bool is_pseudo_handle(HANDLE handle)
{
    const auto value = reinterpret_cast<LONG_PTR>(handle);
    return value == -1 || value == -2;
}

// Removes the handle; the object is closed and deleted, at once or at its last unpin. False with
// ERROR_INVALID_HANDLE, or with the error that Object::close reported.
bool close_handle(HANDLE handle);

// As close_handle, but only for an object of this kind (FindClose on a file handle must fail).
bool close_handle(HANDLE handle, ObjectKind kind);

// Keeps an object alive while a call uses it.
class PinBase
{
public:
    PinBase(const PinBase&) = delete;
    PinBase& operator=(const PinBase&) = delete;
    // Unpins before the end of the scope; also called for a thread that was ended while it held the
    // pin.
    void release();

protected:
    // kind < 0: any. On failure the last error is ERROR_INVALID_HANDLE and m_object null.
    PinBase(HANDLE handle, int kind);
    ~PinBase();
    Object* m_object = nullptr;

private:
    unsigned m_index = 0;
};

template <class T> class Pin : private PinBase
{
public:
    // T::object_kind names the kind; Pin<Object> takes any.
    explicit Pin(HANDLE handle) : PinBase(handle, kind_of()) {}
    explicit operator bool() const { return m_object != nullptr; }
    T* operator->() const { return static_cast<T*>(m_object); }
    T& operator*() const { return *static_cast<T*>(m_object); }
    PinBase& base() { return *this; }

private:
    static constexpr int kind_of()
    {
        if constexpr (requires { T::object_kind; })
            return static_cast<int>(T::object_kind);
        else
            return -1;
    }
};

} // namespace platform

// A few words of state, in the memory of the process or shared between processes by name.
#pragma once

#include <string_view>

#include "named_object.h"
#include "system/calls.h"
#include "system/last_error.h"

namespace platform
{

// State: a plain structure of futex words. Until create or open succeeds it is private to the
// process, all zeroes.
template <class State> class NamedState
{
public:
    explicit NamedState(NamedKind kind) : m_kind(kind) {}
    NamedState(const NamedState&) = delete;
    NamedState& operator=(const NamedState&) = delete;
    ~NamedState()
    {
        if (is_shared())
            sys::munmap(m_state, sizeof *m_state);
    }

    State* operator->() const { return m_state; }
    bool is_shared() const { return m_state != &m_own; }
    bool existed() const { return m_named.existed(); }

    // Each returns 0 or a system error. image: the words of a new object.
    template <class Image> DWORD create(const char* name, const Image& image)
    {
        static_assert(sizeof image == sizeof(State));
        const std::string_view bytes(reinterpret_cast<const char*>(image.data()), sizeof image);
        return map(m_named.create(m_kind, name, sizeof(State), bytes));
    }
    DWORD open(const char* name) { return map(m_named.open(m_kind, name)); }

private:
    DWORD map(DWORD error)
    {
        if (error)
            return error;
        if (m_named.size() < sizeof(State)) // not one of ours
            return ERROR_INVALID_HANDLE;
        void* const view =
            sys::mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, m_named.fd(), 0);
        if (view == MAP_FAILED)
            return system_error(errno);
        m_state = static_cast<State*>(view);
        return 0;
    }

    const NamedKind m_kind;
    State m_own{};
    State* m_state = &m_own;
    NamedObject m_named;
};

} // namespace platform

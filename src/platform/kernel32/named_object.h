// Named objects in shared memory.
//
// An object is a file in the shared folder. That it exists is proved by a lock, not by the file:
// each holder keeps a shared lock of its open file description on one byte, and the kernel drops it
// with the holder, however that ends. What a dead holder left is made anew. All decisions are taken
// under one gate.
#pragma once

#include <cstddef>
#include <string>

#include "windef.h"

namespace platform
{

enum class NamedKind : char
{
    event = 'e',
    mapping = 'm',
};

class NamedObject
{
public:
    NamedObject() = default;
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;
    ~NamedObject() { close(); }

    // Creates the object with size bytes of zeroes, or joins the one that lives under the name. 0,
    // or a system error: ERROR_INVALID_HANDLE if an object of another kind has the name.
    DWORD create(NamedKind kind, const char* name, size_t size);
    // Joins the object that lives under the name: ERROR_FILE_NOT_FOUND if none does.
    DWORD open(NamedKind kind, const char* name);
    void close();

    bool existed() const { return m_existed; } // somebody else held it when we came
    int fd() const { return m_fd; }
    size_t size() const { return m_size; } // bytes

private:
    DWORD join(NamedKind kind, const char* name, size_t size, bool may_create);

    int m_fd = -1;
    bool m_existed = false;
    size_t m_size = 0;
    std::string m_path;
    bool m_is_listener = false;
};

// The file of an object, for those who use it without holding it.
std::string named_object_path(NamedKind kind, const char* name);

// Whether anybody holds the object of an open file descriptor, apart from that descriptor.
bool is_held(int fd);

// Serialises what makes and removes shared objects, between processes. Held for short table work.
class SharedGate
{
public:
    SharedGate();
    SharedGate(const SharedGate&) = delete;
    SharedGate& operator=(const SharedGate&) = delete;
    ~SharedGate();
    bool ok() const { return m_fd >= 0; }

private:
    int m_fd;
};

} // namespace platform

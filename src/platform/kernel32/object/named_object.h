// Named objects in shared memory.
//
// An object is a file in the shared folder. That it exists is proved by a lock, not by the file:
// each holder keeps a shared lock of its open file description on one byte, and the kernel drops it
// with the holder, however that ends. What a dead holder left is taken away and made anew under the
// same name, never emptied: somebody may still have it mapped. All decisions are taken under one
// gate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "system/own_descriptor.h"
#include "windef.h"

namespace platform
{

enum class NamedKind : char
{
    event = 'e',
    mapping = 'm',
    semaphore = 's',
};

// Is told of the holders of one object, whichever process's they are, as far as this process takes
// part. It registers itself, before any object is made, and stays. There is one.
class ObjectWatcher
{
public:
    struct Actions
    {
        void (*prepare)(); // before an object of this name is joined; the gate isn't held
        void (*came)();    // the first holder has come; under the gate
        void (*went)();    // the last holder has gone; under the gate
    };
    // The name has no prefix and lives as long as this.
    ObjectWatcher(NamedKind kind, std::string_view name, const Actions& actions);
    ObjectWatcher(const ObjectWatcher&) = delete;
    ObjectWatcher& operator=(const ObjectWatcher&) = delete;
    bool watches(NamedKind kind, std::string_view plain_name) const
    {
        return kind == m_kind && plain_name == m_name;
    }
    const Actions& actions() const { return m_actions; }

private:
    const NamedKind m_kind;
    const std::string_view m_name;
    const Actions m_actions;
};

class NamedObject
{
public:
    NamedObject() = default;
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;
    ~NamedObject() { close(); }

    // Creates the object with size bytes, the first ones as given and zeroes after them, or joins
    // the one that lives under the name as it is. 0, or a system error: ERROR_INVALID_HANDLE if an
    // object of another kind has the name.
    DWORD create(NamedKind kind, const char* name, size_t size, std::string_view start = {});
    // Joins the object that lives under the name: ERROR_FILE_NOT_FOUND if none does.
    DWORD open(NamedKind kind, const char* name);
    void close();

    bool existed() const { return m_existed; } // somebody else held it when we came
    int fd() const { return m_file.number(); }
    size_t size() const { return m_size; } // bytes

private:
    struct Content
    {
        size_t size;
        std::string_view start;
    };
    DWORD join(NamedKind kind, const char* name, const Content* content);
    DWORD join_under_gate(NamedKind kind, const char* name, const Content* content);
    DWORD hold(int fd);
    bool is_still_named() const;

    mutable OwnDescriptor m_file; // opened anew when the program has closed it
    uint32_t m_forks = 0;         // fork_count() of the process that holds the object by it
    bool m_existed = false;
    size_t m_size = 0;
    std::string m_path;
    const ObjectWatcher* m_watcher = nullptr; // of this object; null without
};

// The file of an object, for those who use it without holding it. Empty without a shared folder.
std::string named_object_path(NamedKind kind, const char* name);

// Opens a file of ours in the shared folder for reading and writing, and makes it if that is
// wanted. A link or another thing in its place, from before the folder was private, is taken away
// then. Negative with errno.
int open_own(const std::string& path, bool makes);

// Gives a file of shared memory at least the size; it never shrinks, as others may have it mapped.
// Memory that is only promised ends a process by a signal when it runs out, so what is small is
// reserved. Negative with errno.
int reserve_shared(int fd, size_t size);

// Whether anybody holds the object of an open file, apart from that open file itself.
enum class Held
{
    no,
    yes,
    unknown // the system would not say; errno tells why
};
Held held(int fd);
// The same by name; also no if there is no file. found, if wanted: which file was looked at, unless
// the answer is no.
Held held(NamedKind kind, const char* name, struct stat* found = nullptr);

// Serialises what makes and removes shared objects, between processes. Held for short table work,
// never twice by one thread. It is waited for a second at most, and what needs it isn't done
// without it.
class SharedGate
{
public:
    explicit SharedGate(bool wanted = true); // false: takes none
    SharedGate(const SharedGate&) = delete;
    SharedGate& operator=(const SharedGate&) = delete;
    ~SharedGate();
    bool ok() const { return m_fd >= 0; }
    bool gave_up() const { return m_gave_up; } // somebody else has it for too long

private:
    void take();

    int m_fd;
    bool m_gave_up = false;
};

} // namespace platform

// Named objects in shared memory.
//
// An object is a file in the shared folder. An object exists while a process holds its lock; the
// file alone proves nothing. Each holder keeps a shared lock of its open file description on one
// byte, and the kernel releases the lock when the holder ends, however it ends. A dead holder's
// file is removed and made anew under the same name, never emptied: a process may still have it
// mapped. All decisions are taken under one gate.
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

// The owner of one named object, called when this process becomes its first holder or ends being
// its last. It registers itself, before any object is made, and stays. There is one.
class ObjectWatcher
{
public:
    struct Actions
    {
        void (*prepare)(); // before an object of this name is joined; the gate isn't held
        void (*came)();    // the first holder has come; under the gate
        void (*went)();    // the last holder has left; under the gate
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

    // Creates the object with size bytes, the first ones as passed and zeroes after them, or joins
    // the existing object of that name unchanged. 0, or a system error: ERROR_INVALID_HANDLE if an
    // object of another kind has the name.
    DWORD create(NamedKind kind, const char* name, size_t size, std::string_view start = {});
    // Joins the existing object of that name: ERROR_FILE_NOT_FOUND if there is none.
    DWORD open(NamedKind kind, const char* name);
    void close();

    bool existed() const { return m_existed; } // it had a holder when this one joined
    int fd() const { return m_file.number(); }
    int checked_fd() { return m_file.checked_number(); }
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

    mutable OwnDescriptor m_file; // opened again if the program has closed it
    uint32_t m_forks = 0;         // fork_count() of the process that holds the object through this
    bool m_existed = false;
    size_t m_size = 0;
    std::string m_path;
    const ObjectWatcher* m_watcher = nullptr; // of this object; null if it has none
};

// The file of an object, for code that uses it without holding it. Empty without a shared folder.
std::string named_object_path(NamedKind kind, const char* name);

// Opens one of our files in the shared folder for reading and writing; makes: makes it if missing.
// A link or other entry in its place, from before the folder was private, is then removed. Negative
// with errno.
int open_own(const std::string& path, bool makes);

// Grows a file of shared memory to at least the size; it never shrinks, as others may have it
// mapped. If unreserved memory runs out, a signal ends the process, so small files are reserved.
// Negative with errno.
int reserve_shared(int fd, size_t size);

// Whether any process holds the object of an open file, not counting this open file itself.
enum class Held
{
    no,
    yes,
    unknown // the system reported an error, which is in errno
};
Held held(int fd);
// The same by name; also no if there is no file. found, if not null: receives the status of the
// file that was checked, unless the answer is no.
Held held(NamedKind kind, const char* name, struct stat* found = nullptr);

// Serialises the making and removing of shared objects between processes. Held for short work on
// the folder, never twice by one thread. A thread waits for it a second at most; without it, the
// work that needs it isn't done.
class SharedGate
{
public:
    explicit SharedGate(bool wanted = true); // false: doesn't take the gate
    SharedGate(const SharedGate&) = delete;
    SharedGate& operator=(const SharedGate&) = delete;
    ~SharedGate();
    bool ok() const { return m_fd >= 0; }
    bool gave_up() const { return m_gave_up; } // another holder kept the gate for too long

private:
    void take();

    int m_fd;
    bool m_gave_up = false;
};

} // namespace platform

// File mappings and views.
//
// A view starts at a multiple of the allocation granularity, which is coarser than a page: one
// granule more is reserved and the excess is unmapped. Views outlive their mapping and its file, so
// they are kept in a table of their own, by address.
#include <map>
#include <mutex>
#include <new>

#include "file_object.h"
#include "kernel32/object/named_object.h"
#include "mapped_files.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"
#include "system/own_descriptor.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr size_t granularity = 65'536;

// Grows a file and reserves the disk space: writing to a view without disk space would end the
// process. File systems that can't reserve grow the file without it. 0 or an errno.
int grow(int fd, uint64_t from, uint64_t to)
{
    if (sys::fallocate(fd, 0, static_cast<off_t>(from), static_cast<off_t>(to - from)) == 0)
        return 0;
    const int error = errno;
    if (!sys::lacks_fallocate(error))
    {
        // Part of the space may have been allocated.
        return sys::ftruncate(fd, static_cast<off_t>(from)) == 0 ? error : errno;
    }
    return sys::ftruncate(fd, static_cast<off_t>(to)) == 0 ? 0 : errno;
}

class MappingObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::mapping;

    MappingObject(DWORD protection) : Object(object_kind), m_protection(protection) {}
    ~MappingObject() override { release_mapped(m_file); }

    // Each returns 0 or a system error.
    DWORD over_file(const FileObject& file, uint64_t size)
    {
        const bool writes = m_protection == PAGE_READWRITE;
        if (!file.readable() || (writes && !file.writable()))
            return ERROR_ACCESS_DENIED;
        struct stat found;
        if (sys::fstat(file.fd(), &found) != 0)
            return system_error(errno);
        const auto there = static_cast<uint64_t>(found.st_size);
        if (size == 0)
            size = there;
        if (size == 0)
            return ERROR_FILE_INVALID;
        if (size > static_cast<uint64_t>(INT64_MAX))
            return ERROR_DISK_FULL;
        if (size > there)
        {
            if (!writes)
                return ERROR_NOT_ENOUGH_MEMORY;
            if (const int error = grow(file.fd(), there, size))
                return system_error(error);
        }
        // The duplicate keeps the file's content; share modes and ranges end with the file's
        // handle.
        const int own = duplicate_high(file.fd());
        if (own < 0)
            return system_error(errno);
        m_own.take(own, found);
        m_size = size;
        const FileNumbers numbers{found.st_dev, found.st_ino};
        if (!hold_mapped(numbers))
            return ERROR_NOT_ENOUGH_MEMORY;
        m_file = numbers;
        return 0;
    }

    DWORD over_memory(uint64_t size)
    {
        if (size == 0 || size > static_cast<uint64_t>(INT64_MAX))
            return ERROR_INVALID_PARAMETER;
        const int memory = sys::memfd_create("plinth-mapping");
        if (memory < 0)
            return system_error(errno);
        struct stat found;
        if (sys::ftruncate(memory, static_cast<off_t>(size)) != 0 ||
            sys::fstat(memory, &found) != 0)
        {
            const DWORD error = system_error(errno);
            sys::close(memory);
            return error;
        }
        m_own.take(memory, found);
        m_size = size;
        return 0;
    }

    DWORD over_name(const char* name, uint64_t size, bool may_create)
    {
        if (may_create && (size == 0 || size > static_cast<uint64_t>(INT64_MAX)))
            return ERROR_INVALID_PARAMETER;
        const DWORD error =
            may_create ? m_named.create(NamedKind::mapping, name, static_cast<size_t>(size))
                       : m_named.open(NamedKind::mapping, name);
        m_size = m_named.size();
        return error;
    }

    bool existed() const { return m_named.existed(); }
    // Negative if the program has closed it; only the file of a name can be opened again.
    int checked_fd() { return m_own.taken() ? m_own.checked_number() : m_named.checked_fd(); }
    uint64_t size() const { return m_size; }
    const FileNumbers& file() const { return m_file; }
    DWORD protection() const { return m_protection; }

private:
    const DWORD m_protection;
    OwnDescriptor m_own; // without a name
    FileNumbers m_file;
    NamedObject m_named;
    uint64_t m_size = 0;
};

struct View
{
    size_t size;
    FileNumbers file;
};

struct Views
{
    std::mutex lock; // guards all; taken before the lock of the mapped files
    std::map<uintptr_t, View> all;
};

Views& views()
{
    static Immortal<Views> only;
    return *only;
}

std::mutex& views_lock()
{
    return views().lock;
}

const AtFork g_at_fork(ForkStep::mapped_views, taken_at_fork<views_lock>());

HANDLE finish(MappingObject* mapping, DWORD error)
{
    if (error)
    {
        delete mapping;
        fail_with(error);
        return nullptr;
    }
    const bool existed = mapping->existed();
    const HANDLE handle = insert_handle(mapping);
    if (handle)
        fail_with(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

HANDLE create_mapping(HANDLE file, DWORD protection, uint64_t size, const char* name)
{
    int fault = 0;
    if (api_fault("CreateFileMapping", fault))
    {
        fail_with(static_cast<DWORD>(fault));
        return nullptr;
    }
    if (protection != PAGE_READONLY && protection != PAGE_READWRITE && protection != PAGE_WRITECOPY)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* const mapping = new (std::nothrow) MappingObject(protection);
    if (!mapping)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (file == INVALID_HANDLE_VALUE)
        return finish(mapping, name && *name ? mapping->over_name(name, size, true)
                                             : mapping->over_memory(size));
    const Pin<FileObject> object(file);
    return finish(mapping, object ? mapping->over_file(*object, size) : ERROR_INVALID_HANDLE);
}

// Reserves, aligns and maps. Null with errno.
void* map_aligned(size_t size, int protection, int flags, int fd, off_t offset)
{
    const size_t page = 4096;
    const size_t length = (size + page - 1) & ~(page - 1);
    void* const room = sys::mmap(nullptr, length + granularity, PROT_NONE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED)
        return nullptr;
    const uintptr_t start = reinterpret_cast<uintptr_t>(room);
    const uintptr_t aligned = (start + granularity - 1) & ~(granularity - 1);
    void* const view = sys::mmap(reinterpret_cast<void*>(aligned), length, protection,
                                 flags | MAP_FIXED, fd, offset);
    if (view == MAP_FAILED)
    {
        const int error = errno;
        sys::munmap(room, length + granularity);
        errno = error;
        return nullptr;
    }
    if (aligned > start)
        sys::munmap(room, aligned - start);
    const uintptr_t end = start + length + granularity;
    if (end > aligned + length)
        sys::munmap(reinterpret_cast<void*>(aligned + length), end - aligned - length);
    return view;
}

LPVOID map_view(MappingObject& mapping, DWORD access, uint64_t offset, uint64_t size)
{
    const bool copies = (access & ~FILE_MAP_READ) == FILE_MAP_COPY;
    const bool writes = (access & FILE_MAP_WRITE) != 0;
    if ((writes && mapping.protection() != PAGE_READWRITE) || offset > mapping.size() ||
        (size != 0 && size > mapping.size() - offset))
    {
        fail_with(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    if (offset % granularity != 0)
    {
        fail_with(ERROR_MAPPED_ALIGNMENT);
        return nullptr;
    }
    if (size == 0)
        size = mapping.size() - offset;
    if (size == 0)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const int fd = mapping.checked_fd();
    if (fd < 0)
    {
        fail_with(ERROR_FILE_INVALID);
        return nullptr;
    }
    const std::lock_guard guard(views().lock);
    void* const view =
        map_aligned(size, PROT_READ | (writes || copies ? PROT_WRITE : 0),
                    copies || mapping.protection() == PAGE_WRITECOPY ? MAP_PRIVATE : MAP_SHARED, fd,
                    static_cast<off_t>(offset));
    if (!view)
    {
        fail_errno(errno);
        return nullptr;
    }
    try
    {
        const auto place =
            views().all.insert({reinterpret_cast<uintptr_t>(view), {size, {}}}).first;
        if (!hold_mapped(mapping.file()))
            throw std::bad_alloc();
        place->second.file = mapping.file();
    }
    catch (const std::bad_alloc&)
    {
        views().all.erase(reinterpret_cast<uintptr_t>(view));
        sys::munmap(view, size);
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return view;
}

} // namespace

extern "C" HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                                     DWORD size_high, DWORD size_low, LPCSTR name)
try
{
    return create_mapping(file, protection, (static_cast<uint64_t>(size_high) << 32) | size_low,
                          name);
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" HANDLE CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                                     DWORD size_high, DWORD size_low, LPCWSTR name)
try
{
    const uint64_t size = (static_cast<uint64_t>(size_high) << 32) | size_low;
    if (!name)
        return create_mapping(file, protection, size, nullptr);
    return create_mapping(file, protection, size, to_utf8(name).c_str());
}
catch (const std::exception& exception)
{
    return failed_by(exception, HANDLE{});
}

extern "C" HANDLE OpenFileMappingA(DWORD access, BOOL, LPCSTR name)
{
    if (!name || !*name)
    {
        fail_with(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* const mapping = new (std::nothrow)
        MappingObject((access & FILE_MAP_WRITE) ? PAGE_READWRITE : PAGE_READONLY);
    if (!mapping)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    const DWORD error = mapping->over_name(name, 0, false);
    if (error)
        return finish(mapping, error);
    return insert_handle(mapping);
}

extern "C" LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offset_high, DWORD offset_low,
                                SIZE_T bytes)
{
    int error = 0;
    if (api_fault("MapViewOfFile", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    const Pin<MappingObject> object(mapping);
    if (!object)
        return nullptr;
    return map_view(*object, access, (static_cast<uint64_t>(offset_high) << 32) | offset_low,
                    bytes);
}

extern "C" BOOL UnmapViewOfFile(LPCVOID address)
{
    const std::lock_guard guard(views().lock);
    const auto found = views().all.find(reinterpret_cast<uintptr_t>(address));
    if (found == views().all.end())
        return fail_with(ERROR_INVALID_ADDRESS);
    if (sys::munmap(const_cast<void*>(address), found->second.size) != 0)
        return fail_errno(errno);
    release_mapped(found->second.file);
    views().all.erase(found);
    return TRUE;
}

// Adding, replacing and removing resources of a module file.
//
// From Begin to End the file is open without any sharing, so updates of one file run one after the
// other. End writes the new content to a new file and then replaces the old one: the file is
// replaced whole or stays as it was. Other hard links to the file keep the old content; a symbolic
// link is followed.
#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "image_writer.h"
#include "kernel32/file/file_stamp.h"
#include "kernel32/file/file_status.h"
#include "kernel32/file/native_path.h"
#include "kernel32/file/open_claimed.h"
#include "kernel32/file/own_claimed_file.h"
#include "kernel32/file/path.h"
#include "kernel32/file/replacement_file.h"
#include "kernel32/object/handle_table.h"
#include "pe/rewrite.h"
#include "private_image.h"
#include "resource_id.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

namespace
{

// Reads the other parts that a rewrite needs beside the headers and resources: the room after the
// headers, and the debug directory, which points into the file. The rest is copied unread. 0 or a
// system error.
DWORD read_tables(const pe::Image& image, PrivateImage& file)
{
    if (const DWORD error =
            file.read(0, image.section_table() + image.sections().size() * pe::section_header_size +
                             pe::section_header_size))
        return error;
    const pe::Directory debug = image.directory(pe::directory_debug);
    for (const pe::Section& section : image.sections())
    {
        const uint64_t offset = uint64_t{debug.address} - section.address;
        if (debug.address < section.address || offset >= section.raw_size)
            continue;
        const uint64_t size = std::min<uint64_t>(debug.size, section.raw_size - offset);
        if (const DWORD error = file.read(section.raw_offset + offset, size))
            return error;
    }
    return 0;
}

// Copies the old file's properties to the new one. A user who may not give the file to its old
// owner becomes its owner.
int copy_properties(int from, int to)
{
    struct stat found;
    if (sys::fstat(from, &found) != 0)
        return errno;
    if (sys::fchown(to, found.st_uid, found.st_gid) != 0 && errno != EPERM)
        return errno;
    if (sys::fchmod(to, found.st_mode & 07777) != 0)
        return errno;
    FILETIME creation;
    if (sys::fgetxattr(from, creation_attribute, &creation, sizeof creation) == sizeof creation)
        sys::fsetxattr(to, creation_attribute, &creation, sizeof creation, 0); // or without it
    return 0;
}

// 0 or an errno.
int replace_image(const std::string& path, const pe::Pieces& pieces, uint64_t checksum_field,
                  const OldImage& old)
{
    ReplacementFile file(path);
    if (file.fd() < 0)
        return file.error();
    int error = write_image(file.fd(), pieces, checksum_field, old);
    if (!error)
        error = copy_properties(old.fd, file.fd());
    return error ? error : file.put_synced();
}

constexpr ShareRequest update_request{
    .reads = true, .writes = true, .overwrites = true, .shares_read = false, .shares_write = false};

class ResourceUpdate : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::resource_update;

    explicit ResourceUpdate(bool delete_existing)
        : Object(object_kind), m_delete_existing(delete_existing)
    {
    }
    // False, with the last error.
    bool open(LPCWSTR path)
    {
        const NativePath native(path);
        if (!native.ok())
            return false;
        char real[native_path_limit];
        if (!sys::realpath(native.c_str(), real))
            return native.fail(errno);
        m_path = real;
        // Between the opening and the claim another update may have replaced the file.
        int attempts = 0;
        ClaimedFile file;
        struct stat found;
        const DWORD error = open_claimed(
            file, [&] { return sys::open(real, O_RDWR | O_NOCTTY | O_NONBLOCK); },
            [&](bool& gone)
            {
                const DWORD refused = admit(file, found);
                gone = !refused && !is_current(file);
                return gone && ++attempts == most_attempts ? ERROR_SHARING_VIOLATION : refused;
            });
        if (file < 0)
            return native.fail(errno);
        if (error)
            return fail_with(error);
        m_file.take(std::move(file), found, real, update_request);
        return true;
    }

    // Without bytes the resource is removed. False, with the last error, if the update is ending.
    BOOL change(pe::ResourceAddress address, std::optional<std::vector<uint8_t>> bytes)
    {
        const std::lock_guard guard(m_lock);
        if (m_has_ended)
            return fail_with(ERROR_INVALID_HANDLE);
        m_changes.insert_or_assign(std::move(address), std::move(bytes));
        return TRUE;
    }

    // Writes the changes; called once. 0 or a system error.
    DWORD commit()
    {
        // Read and written without the lock: a fork must not wait for that.
        const Changes changes = take_changes();
        const int old = m_file.checked_number();
        if (old < 0)
            return ERROR_FILE_INVALID; // the program has closed it, and it can't be opened again
        PrivateImage file;
        pe::Image image;
        pe::ResourceSet set;
        if (const DWORD error = file.open(old))
            return error;
        if (!image.parse(file.bytes()))
            return ERROR_BAD_EXE_FORMAT;
        if (const DWORD error = read_tables(image, file))
            return error;
        if (!m_delete_existing && !pe::read_resources(image, set))
            return ERROR_BAD_EXE_FORMAT;
        for (const auto& [address, bytes] : changes)
            apply(address, bytes, set);
        pe::Pieces pieces;
        if (const DWORD error = pe::rewrite_resources(image, set, pieces))
            return error;
        const int error =
            replace_image(m_path, pieces, image.checksum_field(), {old, file.bytes()});
        return error ? system_error(error) : 0;
    }

private:
    using Changes = std::map<pe::ResourceAddress, std::optional<std::vector<uint8_t>>>;

    Changes take_changes()
    {
        const std::lock_guard guard(m_lock);
        m_has_ended = true;
        return std::exchange(m_changes, {});
    }

    // Checks the opened file. 0 or a system error.
    static DWORD admit(ClaimedFile& file, struct stat& found)
    {
        if (sys::fstat(file, &found) != 0)
            return system_error(errno);
        if (!S_ISREG(found.st_mode))
            return ERROR_BAD_EXE_FORMAT;
        if (has_no_write_bit(found))
            return ERROR_ACCESS_DENIED; // read-only, for root too
        if (const DWORD error = file.claim(update_request))
            return error;
        PrivateImage content;
        pe::Image image;
        if (const DWORD error = content.open(file))
            return error;
        return image.parse(content.bytes()) ? 0 : ERROR_BAD_EXE_FORMAT;
    }

    bool is_current(int file) const
    {
        struct stat opened;
        struct stat named;
        return sys::fstat(file, &opened) == 0 && sys::stat(m_path.c_str(), &named) == 0 &&
               is_same_file(opened, named);
    }

    // Callers' types and names are in capitals; those in the file may not be, and are then used in
    // their form.
    static pe::ResourceAddress as_in(const pe::ResourceSet& set, pe::ResourceAddress address)
    {
        const auto type =
            std::find_if(set.begin(), set.end(),
                         [&](const auto& each) { return each.first.type.same(address.type); });
        if (type == set.end())
            return address;
        address.type = type->first.type;
        const auto name = std::find_if(type, set.end(),
                                       [&](const auto& each) {
                                           return each.first.type == address.type &&
                                                  each.first.name.same(address.name);
                                       });
        if (name != set.end())
            address.name = name->first.name;
        return address;
    }

    static void apply(const pe::ResourceAddress& given,
                      const std::optional<std::vector<uint8_t>>& bytes, pe::ResourceSet& set)
    {
        const pe::ResourceAddress address = set.contains(given) ? given : as_in(set, given);
        if (bytes)
            set[address] = {{bytes->data(), bytes->size()}, 0};
        else
            set.erase(address);
    }

    static constexpr int most_attempts = 16;
    const bool m_delete_existing;
    OwnClaimedFile m_file;
    std::string m_path; // with symbolic links resolved
    // Guards the two below, of all updates: one lock for all, so that a fork can take it. No other
    // lock is taken while it is held.
    static inline std::mutex m_lock;
    friend std::mutex& updates_lock();
    bool m_has_ended = false;
    Changes m_changes;
};

std::mutex& updates_lock()
{
    return ResourceUpdate::m_lock;
}

const AtFork g_at_fork(ForkStep::resource_updates, taken_at_fork<updates_lock>());

} // namespace

extern "C" HANDLE BeginUpdateResourceW(LPCWSTR path, BOOL delete_existing)
{
    try
    {
        auto update = std::make_unique<ResourceUpdate>(delete_existing != FALSE);
        return update->open(path) ? insert_handle(update.release()) : nullptr;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, nullptr);
    }
}

extern "C" BOOL UpdateResourceW(HANDLE update, LPCWSTR type, LPCWSTR name, WORD language,
                                LPVOID data, DWORD size)
{
    int error = 0;
    if (api_fault("UpdateResourceW", error))
        return fail_with(static_cast<DWORD>(error));
    const Pin<ResourceUpdate> pinned(update);
    if (!pinned)
        return FALSE;
    try
    {
        pe::ResourceAddress address{{}, {}, language};
        if (!resource_id(type, address.type) || !resource_id(name, address.name) ||
            (!data && size != 0))
            return fail_with(ERROR_INVALID_PARAMETER);
        if (!data)
            return pinned->change(std::move(address), std::nullopt);
        const auto* const bytes = static_cast<const uint8_t*>(data);
        return pinned->change(std::move(address), std::vector<uint8_t>(bytes, bytes + size));
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL EndUpdateResourceW(HANDLE update, BOOL discard)
{
    DWORD error = 0;
    {
        const Pin<ResourceUpdate> pinned(update);
        // Closed first, so that no other call ends the update too, nor the child of a fork.
        if (!pinned || !close_handle(update, ObjectKind::resource_update))
            return FALSE;
        try
        {
            if (!discard)
                error = pinned->commit();
        }
        catch (const std::bad_alloc&)
        {
            error = ERROR_NOT_ENOUGH_MEMORY;
        }
    }
    return error ? fail_with(error) : TRUE;
}

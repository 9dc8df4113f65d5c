// Share modes, also between processes and without a server.
//
// Each open of a regular file announces what it does and what it denies by shared locks of its open
// file description on a few bytes far beyond any file's end. An open first looks for locks of
// others on the bytes that would contradict it, so that an open that must fail disturbs no other.
// Then it announces itself and looks again, so that of two opens that contradict each other at the
// same moment at least one sees the other.
//
// A claim that denies something also locks the byte "only announced" until it has looked again. A
// removal, a move or a replacement keeps that byte locked until it ends. An open that meets an
// announced claim waits until the claim is settled:
//
//     meets               a claim that denies nothing    a claim that denies something
//     an announced claim  keeps its own and waits        takes its own back and waits
//     a settled claim     fails                          fails
//
// (A gate that serialised the opens would need a write lock, which a read-only descriptor can't
// take.) Opens on file systems without such locks, or of files that can't be read, announce
// nothing.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "windef.h"

namespace platform
{

// The first of the bytes of the share modes; locks of callers stay below.
inline constexpr off_t share_bytes_start = 0x7FFFFFFFFFFF0000;

struct ShareRequest
{
    bool reads;
    bool writes;
    bool overwrites; // cuts the existing content, whether or not it writes afterwards
    bool shares_read;
    bool shares_write;
};

// Owns a descriptor together with its share modes and locked ranges. They are released before the
// descriptor is closed: a child that another thread has just forked, or a view, shares the open
// file description and would otherwise keep them. Only the process that claimed the file releases
// them: if a forked child closes it, the file stays claimed for the parent.
class ClaimedFile
{
public:
    explicit ClaimedFile(int fd = -1) : m_fd(fd) {}
    ClaimedFile(ClaimedFile&& other) noexcept;
    ClaimedFile(const ClaimedFile&) = delete;
    ClaimedFile& operator=(const ClaimedFile&) = delete;
    ~ClaimedFile() { close(); }
    operator int() const { return m_fd; }

    // Closes what it owns and takes over a descriptor that claims nothing.
    void reset(int fd = -1);
    // As close(2), with errno. Without a descriptor it does nothing.
    int close();
    // Leaves the descriptor, with its claims, to the caller.
    int release();

    // Claims a request. 0, or ERROR_SHARING_VIOLATION. A request for no access at all denies
    // nothing and is denied nothing.
    DWORD claim(const ShareRequest& request);
    // Releases the claim.
    void withdraw();
    // Claims the file for its removal or its move. 0, or ERROR_SHARING_VIOLATION if the file is
    // open.
    DWORD claim_removal();
    // Whether the file lost its name to a removal or a move before it was claimed: then the name
    // must be opened again. status: the file's, read after the claim. A name that leads to a file
    // without one belongs to the kernel (/proc/self/fd).
    bool lost_its_name(const struct stat& status, const char* native_path) const;

    // Notes that a range was locked.
    void hold_range() { m_holds = true; }
    // Whether this process is the one that claimed.
    bool is_own() const;

private:
    struct Claim;
    DWORD take(const Claim& wanted);
    void announce(const Claim& wanted);
    void settle(const Claim& wanted) const;

    int m_fd;
    bool m_holds = false;  // whether it holds at least one lock
    bool m_waited = false; // whether it has waited for another claim
    unsigned m_process = 0;
};

// Releases all claims and ranges of a descriptor's open file.
void take_back_locks(int fd);

// Keeps a file from being opened through this interface while it is deleted, moved or replaced:
// none of our opens shares deletion. It must last until the call that deletes, moves or replaces
// has returned. An open that got the file before the claim waits, finds the file without a name,
// and opens the name again.
class DeleteClaim
{
public:
    // Claims the file that has the name now. Links, missing files and files that can't be opened
    // count as free.
    explicit DeleteClaim(const char* native_path);
    // Claims two files in an order that all processes keep, so that no two moves wait for each
    // other. One file under two names is claimed once.
    DeleteClaim(const char* native_path, DeleteClaim& other, const char* other_path);
    // Claims nothing; used as the second of two claims.
    DeleteClaim() = default;

    // ERROR_SHARING_VIOLATION if the file is open, else 0.
    DWORD error() const { return m_error; }
    bool exists() const { return m_exists; }
    // The status of the existing entry. Only files are claimed, not folders, links or other
    // entries.
    const struct stat& status() const { return m_status; }
    bool is_same_as(const DeleteClaim& other) const;

private:
    void open(const char* native_path);
    void claim() { m_error = m_file < 0 ? 0 : m_file.claim_removal(); }
    // Whether another file got the name while this one was waited for.
    bool is_late(const char* native_path) const;

    ClaimedFile m_file;
    bool m_exists = false;
    DWORD m_error = 0;
    struct stat m_status = {};
};

} // namespace platform

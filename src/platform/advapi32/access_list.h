// Layouts of identifiers and access list entries.
#pragma once

#include "windows.h"

namespace platform
{

// An identifier: revision, count of sub-authorities, authority (48 bits, big-endian), then the
// sub-authorities. This one has up to three, like all that are made here.
struct Sid
{
    BYTE revision;
    BYTE count;
    BYTE authority[6];
    DWORD parts[3];
};
static_assert(sizeof(Sid) == 20);

// The authority for accounts of this kind of system, then 1 for users or 2 for groups, then the
// number.
inline Sid user_sid(DWORD number)
{
    return {1, 3, {0, 0, 0, 0, 0, 22}, {1, 0, number}};
}
inline Sid group_sid(DWORD number)
{
    return {1, 3, {0, 0, 0, 0, 0, 22}, {2, 0, number}};
}
inline Sid everyone_sid()
{
    return {1, 1, {0, 0, 0, 0, 0, 1}, {0, 0, 0}};
}

// The length in bytes; 0 if it is no valid identifier.
inline DWORD sid_size(const void* sid)
{
    const BYTE* const bytes = static_cast<const BYTE*>(sid);
    return bytes[0] == 1 && bytes[1] <= 15 ? 8 + DWORD{bytes[1]} * 4 : 0;
}

// The head of an entry that allows or denies; the identifier follows.
struct AccessEntry
{
    BYTE type;
    BYTE flags;
    WORD size; // identifier included
    DWORD mask;
};
static_assert(sizeof(AccessEntry) == 8);

} // namespace platform

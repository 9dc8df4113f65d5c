// What kind of thing a path names, and which. One source file for each system.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include <windows.h>

#include "text.h"

namespace trace
{

// Differs for two files that had one path, one after the other. Files with different paths may have
// the same: are_one_file tells whether they are one.
using FileId = std::pair<uint64_t, uint64_t>;

// Of a file, or a link to one: opening and reading it never waits for anybody. Nothing for a
// folder, a pipe, a device, a socket, and for what isn't there or can't be looked at; the last
// error is 0 unless looking failed.
std::optional<FileId> regular_file_id(const WideText& path);

// The same of an open file; nothing if the system doesn't tell.
std::optional<FileId> open_file_id(HANDLE file);

// Whether two paths with the same id name one file. False if that can't be found out.
bool are_one_file(const WideText& path, const WideText& other);

} // namespace trace

// The kind and the identity of the file that a path names. One source file for each system.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include <windows.h>

#include "text.h"

namespace trace
{

// Differs for two files that had the same path, one after the other. Files with different paths may
// have the same id: are_one_file decides whether they are one file.
using FileId = std::pair<uint64_t, uint64_t>;

// The id of a file, or of the file that a link names: opening and reading it never waits. Nothing
// for a folder, a pipe, a device, a socket, and for a path that doesn't exist or can't be examined;
// the last error is 0 unless the examination failed.
std::optional<FileId> regular_file_id(const WideText& path);

// The same for an open file; nothing if the system doesn't report it.
std::optional<FileId> open_file_id(HANDLE file);

// Whether two paths with the same id name one file. False if unknown.
bool are_one_file(const WideText& path, const WideText& other);

} // namespace trace

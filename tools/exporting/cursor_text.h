// The text of a cursor file: how far each file was exported.
//
// Lines of words: a head with the version, the inputs, a line for each file, and the hash of all
// lines before it. Bytes of a path that would end a word are written as %XX.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "log_progress.h"

namespace trace
{

struct CursorEntry
{
    LogMark mark{};
    LogProgress progress{};

    friend bool operator==(const CursorEntry&, const CursorEntry&) = default;
};

using CursorEntries = std::map<std::string, CursorEntry>;                // by path
using CursorChanges = std::map<std::string, std::optional<CursorEntry>>; // none: file to forget

std::string cursor_text(const std::vector<std::string>& inputs, const CursorEntries& entries);

enum class CursorState
{
    good,
    damaged,
    later, // made by a later version
};

// inputs and entries are only valid if the result is `good`.
CursorState parse_cursor(std::string_view text, std::vector<std::string>& inputs,
                         CursorEntries& entries);

} // namespace trace

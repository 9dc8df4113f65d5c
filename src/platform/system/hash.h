// A hash that is the same in every process and version, used for names of files.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform
{

// FNV-1a, 64 bits. start: another start makes a different hash of the same text.
constexpr uint64_t fnv1a(std::string_view text, uint64_t start = 14'695'981'039'346'656'037u)
{
    constexpr uint64_t prime = 1'099'511'628'211u;
    for (const char c : text)
        start = (start ^ static_cast<unsigned char>(c)) * prime;
    return start;
}

} // namespace platform

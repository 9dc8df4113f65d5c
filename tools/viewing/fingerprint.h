// A number by which bytes that were read before are recognised. Bookmarks and cursors keep it in
// files, so it is the same in every version.
#pragma once

#include <cstdint>
#include <string_view>

namespace trace
{

// FNV-1a, 64 bits.
constexpr uint64_t fingerprint_of(std::string_view bytes)
{
    constexpr uint64_t prime = 1'099'511'628'211u;
    uint64_t hash = 14'695'981'039'346'656'037u;
    for (const char byte : bytes)
        hash = (hash ^ static_cast<unsigned char>(byte)) * prime;
    return hash;
}

} // namespace trace

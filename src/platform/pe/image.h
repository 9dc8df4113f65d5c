// The headers of a PE file, of both widths: where its sections and data directories are.
//
// Only fields that the reader and writer of resources need are read, and only within the file.
// Whether sections are within the file is checked for each range that is read.
#pragma once

#include <vector>

#include "bytes.h"

namespace platform::pe
{

inline constexpr uint64_t section_header_size = 40;

enum DirectoryIndex : unsigned
{
    directory_resources = 2,
    directory_certificates = 4, // its address is an offset in the file
    directory_debug = 6,
    directory_bound_imports = 11, // after the section table, within the headers
    directory_limit = 16,
};

struct Directory
{
    uint32_t address = 0; // relative to the image's base; 0: there is none
    uint32_t size = 0;
};

struct Section
{
    uint64_t header; // offset of its entry in the section table
    char name[8];    // without a terminator if it has eight characters
    uint32_t virtual_size;
    uint32_t address;
    uint32_t raw_size;
    uint32_t raw_offset;

    // What it takes in the file and in the image; 64 bits, so that no sum wraps.
    uint64_t extent() const { return virtual_size ? virtual_size : raw_size; }
    uint64_t raw_end() const { return raw_size ? uint64_t{raw_offset} + raw_size : 0; }
};

class Image
{
public:
    // False if the bytes have no PE headers, or headers that are cut.
    bool parse(Bytes file);

    const Bytes& file() const { return m_file; }
    const std::vector<Section>& sections() const { return m_sections; }
    Directory directory(unsigned index) const;

    // Offsets of header fields in the file.
    uint64_t symbol_pointer_field() const { return m_header + 12; }
    uint64_t section_count_field() const { return m_header + 6; }
    uint64_t initialized_size_field() const { return m_optional + 8; }
    uint64_t image_size_field() const { return m_optional + 56; }
    uint64_t headers_size_field() const { return m_optional + 60; }
    uint64_t checksum_field() const { return m_optional + 64; }
    uint64_t directory_field(unsigned index) const { return m_directories + index * 8; }
    unsigned directory_count() const { return m_directory_count; }
    uint64_t section_table() const { return m_section_table; }

    // Where the pages of a section end, and how many of its bytes in the file are within them:
    // bytes beyond are not loaded, and their addresses may belong to another section.
    uint64_t address_end(const Section& section) const;
    uint64_t mapped_size(const Section& section) const;

    uint32_t section_alignment() const { return m_file.at<uint32_t>(m_optional + 32); }
    uint32_t file_alignment() const { return m_file.at<uint32_t>(m_optional + 36); }
    uint32_t headers_size() const { return m_file.at<uint32_t>(headers_size_field()); }

private:
    Bytes m_file;
    uint64_t m_header = 0;   // of "PE\0\0"
    uint64_t m_optional = 0; // of the optional header
    uint64_t m_directories = 0;
    unsigned m_directory_count = 0;
    uint64_t m_section_table = 0;
    std::vector<Section> m_sections;
};

} // namespace platform::pe

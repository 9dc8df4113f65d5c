#include "image.h"

#include <algorithm>
#include <bit>

namespace platform::pe
{

namespace
{

constexpr uint16_t dos_signature = 0x5A4D;
constexpr uint32_t pe_signature = 0x4550;
constexpr uint16_t magic_32 = 0x10B;
constexpr uint16_t magic_64 = 0x20B;

// Sizes up to the data directories, of the optional headers of both widths.
constexpr uint64_t fixed_32 = 96;
constexpr uint64_t fixed_64 = 112;

} // namespace

bool Image::parse(Bytes file)
{
    m_file = file;
    m_sections.clear();
    int32_t header = 0; // signed: a negative offset is invalid
    if (file.at<uint16_t>(0) != dos_signature || !file.read(60, header) || header < 0 ||
        file.at<uint32_t>(static_cast<uint32_t>(header)) != pe_signature)
        return false;
    m_header = static_cast<uint32_t>(header);
    m_optional = m_header + 24;

    const uint64_t optional_size = file.at<uint16_t>(m_header + 20);
    const uint16_t magic = file.at<uint16_t>(m_optional);
    const uint64_t fixed = magic == magic_64 ? fixed_64 : fixed_32;
    if ((magic != magic_32 && magic != magic_64) || optional_size < fixed ||
        !file.holds(m_optional, optional_size))
        return false;
    m_directories = m_optional + fixed;
    m_directory_count =
        static_cast<unsigned>(std::min({uint64_t{file.at<uint32_t>(m_directories - 4)},
                                        uint64_t{directory_limit}, (optional_size - fixed) / 8}));

    m_section_table = m_optional + optional_size;
    const uint64_t count = file.at<uint16_t>(section_count_field());
    if (!file.holds(m_section_table, count * section_header_size))
        return false;
    m_sections.reserve(count);
    for (uint64_t at = m_section_table; m_sections.size() < count; at += section_header_size)
    {
        Section section{};
        section.header = at;
        std::memcpy(section.name, file.data() + at, sizeof section.name);
        section.virtual_size = file.at<uint32_t>(at + 8);
        section.address = file.at<uint32_t>(at + 12);
        section.raw_size = file.at<uint32_t>(at + 16);
        section.raw_offset = file.at<uint32_t>(at + 20);
        m_sections.push_back(section);
    }
    return true;
}

uint64_t Image::address_end(const Section& section) const
{
    const uint64_t page = section_alignment();
    return section.address + aligned(section.extent(), std::has_single_bit(page) ? page : 1);
}

uint64_t Image::mapped_size(const Section& section) const
{
    return std::min<uint64_t>(section.raw_size, address_end(section) - section.address);
}

Directory Image::directory(unsigned index) const
{
    if (index >= m_directory_count)
        return {};
    const uint64_t at = directory_field(index);
    return {m_file.at<uint32_t>(at), m_file.at<uint32_t>(at + 4)};
}

} // namespace platform::pe

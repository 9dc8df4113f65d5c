#include "rewrite.h"

#include <algorithm>
#include <bit>
#include <map>

#include "winerror.h"

namespace platform::pe
{

namespace
{

constexpr char new_name[8] = {'.', 'r', 's', 'r', 'c'};
constexpr char left_name[8] = {'.', 'o', 'l', 'd', 'r', 's', 'r', 'c'};
constexpr uint32_t readable_data = 0x40000040;
// The format's limit; a greater alignment is refused, as it would make the file huge.
constexpr uint64_t longest_file_alignment = 1u << 16;
constexpr uint64_t debug_entry_size = 28;
constexpr uint64_t debug_pointer = 24; // within a debug entry: offset in the file

bool overlaps(uint64_t start, uint64_t end, uint64_t other_start, uint64_t other_end)
{
    return start < other_end && other_start < end;
}

class Rewrite
{
public:
    Rewrite(const Image& image, const ResourceSet& set, Pieces& result)
        : m_image(image), m_file(image.file()), m_set(set), m_out(result)
    {
    }

    DWORD run()
    {
        if (!look())
            return ERROR_BAD_EXE_FORMAT;
        if (m_image.directory_count() <= directory_resources)
            return ERROR_NOT_SUPPORTED;
        if (!m_section.plan(m_set))
            return ERROR_FILE_TOO_LARGE;
        if (const DWORD error = place())
            return error;
        patch_headers();
        patch_pointers();
        drop_signature();
        write();
        return 0;
    }

private:
    // Measures the image; false if its headers contradict themselves.
    bool look()
    {
        const uint64_t file_alignment = m_image.file_alignment();
        const uint64_t section_alignment = m_image.section_alignment();
        if (!std::has_single_bit(file_alignment) || !std::has_single_bit(section_alignment) ||
            file_alignment > longest_file_alignment || section_alignment < file_alignment ||
            section_alignment > 1u << 30)
            return false;
        m_table_end = m_image.section_table() + m_image.sections().size() * section_header_size;
        m_body_end = std::max<uint64_t>(m_image.headers_size(), m_table_end);
        m_address_end = m_body_end;
        m_first_raw = m_body_end;
        m_first_address = UINT32_MAX;
        for (const Section& section : m_image.sections())
        {
            m_body_end = std::max(m_body_end, section.raw_end());
            m_address_end = std::max(m_address_end, m_image.address_end(section));
            m_first_address = std::min<uint64_t>(m_first_address, section.address);
            if (section.raw_size)
                m_first_raw = std::min<uint64_t>(m_first_raw, section.raw_offset);
        }
        // A file may lack the padding of its last section, but not more.
        return m_first_raw >= m_table_end && m_body_end <= m_file.size() + file_alignment;
    }

    // Whether a directory other than the resources has a range within these addresses.
    bool holds_other_directory(uint64_t start, uint64_t end) const
    {
        for (unsigned i = 0; i < m_image.directory_count(); ++i)
        {
            const Directory other = m_image.directory(i);
            if (i != directory_resources && i != directory_certificates && other.address &&
                overlaps(other.address, uint64_t{other.address} + other.size, start, end))
                return true;
        }
        return false;
    }

    // The section that holds the resources and nothing else, or null.
    const Section* own_section() const
    {
        const Directory directory = m_image.directory(directory_resources);
        const Section* own = nullptr;
        for (const Section& section : m_image.sections())
            if (directory.address && section.address == directory.address && section.raw_size)
                own = &section;
        if (!own || aligned(uint64_t{directory.size} + 1, 512) < own->extent())
            return nullptr;
        const uint64_t end =
            std::max(m_image.address_end(*own), uint64_t{own->address} + own->raw_size);
        if (holds_other_directory(own->address, end))
            return nullptr;
        for (const Section& section : m_image.sections())
            if (&section != own &&
                (overlaps(section.raw_offset, section.raw_end(), own->raw_offset, own->raw_end()) ||
                 overlaps(section.address, m_image.address_end(section), own->address,
                          m_image.address_end(*own))))
                return nullptr;
        return own;
    }

    // Chooses the place of the section. 0 or a system error.
    DWORD place()
    {
        const uint64_t need = m_section.size();
        m_virtual_size = need;
        m_old = own_section();
        const bool fits = m_old && need <= room_after(*m_old); // an empty section limits it too
        if (fits && m_old->raw_end() == m_body_end && m_image.address_end(*m_old) == m_address_end)
        {
            m_raw_size = aligned(need, m_image.file_alignment());
            m_new_offset = m_old->raw_offset;
            m_address = m_old->address;
            m_new_body_end = m_new_offset + m_raw_size;
            m_how = How::last;
        }
        else if (fits && need <= m_old->raw_size)
        {
            m_raw_size = m_old->raw_size;
            m_virtual_size = std::max(need, m_old->extent()); // sections leave no gap in the image
            m_new_offset = m_old->raw_offset;
            m_address = m_old->address;
            m_new_body_end = m_body_end;
            m_how = How::in_place;
        }
        else
        {
            if (const DWORD error = make_room_in_table())
                return error;
            m_raw_size = aligned(need, m_image.file_alignment());
            m_new_offset = aligned(m_body_end + m_inserted, m_image.file_alignment());
            m_address = aligned(m_address_end, m_image.section_alignment());
            m_new_body_end = m_new_offset + m_raw_size;
            m_how = How::behind;
        }
        // Another directory claims these addresses without data in the file: the new section would
        // be taken for its data.
        const uint64_t pages =
            aligned(std::max(m_virtual_size, m_raw_size), m_image.section_alignment());
        if (holds_other_directory(m_address, m_address + pages))
            return ERROR_BAD_EXE_FORMAT;
        const uint64_t overlay = m_file.size() > m_body_end ? m_file.size() - m_body_end : 0;
        const uint64_t image_end = aligned(m_address + m_virtual_size, m_image.section_alignment());
        return image_end > UINT32_MAX || m_new_body_end + overlay > UINT32_MAX
                   ? ERROR_FILE_TOO_LARGE
                   : 0;
    }

    // How many bytes a section may have in the image before the next one begins.
    uint64_t room_after(const Section& section) const
    {
        uint64_t next = UINT32_MAX;
        for (const Section& other : m_image.sections())
            if (other.address > section.address)
                next = std::min<uint64_t>(next, other.address);
        return next - section.address;
    }

    DWORD make_room_in_table()
    {
        if (m_image.sections().size() == UINT16_MAX)
            return ERROR_NOT_SUPPORTED;
        Bytes behind;
        const uint64_t headers_end = std::min<uint64_t>(m_image.headers_size(), m_first_raw);
        if (m_table_end + section_header_size <= headers_end &&
            m_file.part(m_table_end, section_header_size, behind) &&
            std::all_of(behind.data(), behind.data() + behind.size(),
                        [](uint8_t byte) { return byte == 0; }) &&
            !is_bound_imports(m_table_end, section_header_size))
            return 0;
        m_inserted = aligned(section_header_size, m_image.file_alignment());
        return m_image.headers_size() + m_inserted > m_first_address ? ERROR_NOT_SUPPORTED : 0;
    }

    bool is_bound_imports(uint64_t offset, uint64_t size) const
    {
        const Directory bound = m_image.directory(directory_bound_imports);
        return bound.address &&
               overlaps(offset, offset + size, bound.address, uint64_t{bound.address} + bound.size);
    }

    template <class Number> void patch(uint64_t offset, Number value)
    {
        std::vector<uint8_t>& bytes = m_out.own(sizeof value);
        std::memcpy(bytes.data(), &value, sizeof value);
        m_patches[offset] = {bytes.data(), bytes.size()};
    }

    void patch_name(uint64_t header, const char (&name)[8])
    {
        uint64_t number = 0;
        std::memcpy(&number, name, sizeof number);
        patch<uint64_t>(header, number);
    }

    void patch_sizes(uint64_t header)
    {
        patch<uint32_t>(header + 8, static_cast<uint32_t>(m_virtual_size));
        patch<uint32_t>(header + 12, static_cast<uint32_t>(m_address));
        patch<uint32_t>(header + 16, static_cast<uint32_t>(m_raw_size));
        patch<uint32_t>(header + 20, static_cast<uint32_t>(m_new_offset));
    }

    void patch_headers()
    {
        const uint64_t old_size = m_old && m_how != How::behind ? m_old->raw_size : 0;
        const auto initialized = m_file.at<uint32_t>(m_image.initialized_size_field());
        patch(m_image.initialized_size_field(),
              static_cast<uint32_t>(initialized + m_raw_size - old_size));
        if (m_how == How::behind)
        {
            if (m_old)
                patch_name(m_old->header, left_name);
            patch(m_image.section_count_field(),
                  static_cast<uint16_t>(m_image.sections().size() + 1));
            if (m_inserted)
                patch(m_image.headers_size_field(),
                      static_cast<uint32_t>(m_image.headers_size() + m_inserted));
        }
        else
            patch_sizes(m_old->header);
        uint64_t end = m_how == How::last ? 0 : m_address_end;
        for (const Section& section : m_image.sections())
            if (&section != m_old)
                end = std::max(end, m_image.address_end(section));
        end = std::max(end, m_address + m_virtual_size);
        patch(m_image.image_size_field(),
              static_cast<uint32_t>(aligned(end, m_image.section_alignment())));
        const uint64_t directory = m_image.directory_field(directory_resources);
        patch(directory, static_cast<uint32_t>(m_address));
        patch(directory + 4, static_cast<uint32_t>(m_virtual_size));
        patch<uint32_t>(m_image.checksum_field(), 0);
    }

    // The new offset of an offset in the old file.
    uint64_t moved(uint64_t offset) const
    {
        if (offset < m_table_end)
            return offset;
        return offset < m_body_end ? offset + m_inserted : offset - m_body_end + m_new_body_end;
    }

    void patch_pointer(uint64_t field)
    {
        uint32_t pointer = 0;
        if (m_file.read(field, pointer) && pointer && moved(pointer) != pointer)
            patch(field, static_cast<uint32_t>(moved(pointer)));
    }

    // All fields that hold an offset into the file.
    void patch_pointers()
    {
        patch_pointer(m_image.symbol_pointer_field());
        for (const Section& section : m_image.sections())
        {
            if (section.raw_size && (&section != m_old || m_how == How::behind))
                patch_pointer(section.header + 20);
            patch_pointer(section.header + 24); // relocations
            patch_pointer(section.header + 28); // line numbers
        }
        const Directory bound = m_image.directory(directory_bound_imports);
        if (m_inserted && bound.address >= m_table_end && bound.address < m_first_raw)
            patch(m_image.directory_field(directory_bound_imports),
                  static_cast<uint32_t>(bound.address + m_inserted));
        const Directory debug = m_image.directory(directory_debug);
        const uint64_t entries = debug.size / debug_entry_size;
        for (const Section& section : m_image.sections())
        {
            const uint64_t offset = uint64_t{debug.address} - section.address;
            if (debug.address < section.address ||
                offset + entries * debug_entry_size > section.raw_size)
                continue;
            for (uint64_t i = 0; i < entries; ++i)
                patch_pointer(section.raw_offset + offset + i * debug_entry_size + debug_pointer);
            break;
        }
    }

    void drop_signature()
    {
        m_overlay_end = m_file.size();
        const Directory signature = m_image.directory(directory_certificates);
        if (m_image.directory_count() <= directory_certificates || signature.address == 0)
            return;
        patch<uint64_t>(m_image.directory_field(directory_certificates), 0);
        if (signature.address >= m_body_end && signature.address < m_file.size() &&
            signature.address + aligned(signature.size, 8) >= m_file.size())
            m_overlay_end = signature.address;
    }

    // The old file's content of a range, with its changes, and zeros after its end.
    void keep(uint64_t from, uint64_t to)
    {
        while (from < to)
        {
            const auto next = m_patches.lower_bound(from);
            const bool patched = next != m_patches.end() && next->first < to;
            const uint64_t end = patched ? next->first : to;
            const uint64_t there = std::max(from, std::min(end, m_file.size()));
            Bytes part;
            if (m_file.part(from, there - from, part))
                m_out.put(part);
            m_out.put_zeros(end - there);
            from = end;
            if (patched)
            {
                m_out.put(next->second);
                from += next->second.size();
            }
        }
    }

    void put_section()
    {
        m_section.put(static_cast<uint32_t>(m_address), m_out);
        m_out.put_zeros(m_raw_size - m_section.size());
    }

    void put_table_entry()
    {
        std::vector<uint8_t>& entry = m_out.own(section_header_size);
        const auto number = [&](uint64_t offset, uint64_t value)
        {
            const auto narrow = static_cast<uint32_t>(value);
            std::memcpy(entry.data() + offset, &narrow, sizeof narrow);
        };
        std::memcpy(entry.data(), new_name, sizeof new_name);
        number(8, m_virtual_size);
        number(12, m_address);
        number(16, m_raw_size);
        number(20, m_new_offset);
        number(36, readable_data);
        m_out.put({entry.data(), entry.size()});
    }

    void write()
    {
        if (m_how == How::behind)
        {
            keep(0, m_table_end);
            put_table_entry();
            // Either the entry replaces zeros, or everything after it moves.
            m_out.put_zeros(m_inserted ? m_inserted - section_header_size : 0);
            const uint64_t rest = m_table_end + (m_inserted ? 0 : section_header_size);
            keep(rest, m_old ? m_old->raw_offset : m_body_end);
            if (m_old)
            {
                m_out.put_zeros(m_old->raw_size);
                keep(m_old->raw_end(), m_body_end);
            }
            m_out.put_zeros(m_new_offset - m_out.size());
            put_section();
        }
        else
        {
            keep(0, m_old->raw_offset);
            put_section();
            keep(m_old->raw_end(), m_body_end);
        }
        keep(m_body_end, std::max(m_body_end, m_overlay_end));
    }

    enum class How
    {
        in_place,
        last,
        behind,
    };

    const Image& m_image;
    const Bytes& m_file;
    const ResourceSet& m_set;
    Pieces& m_out;
    ResourceSection m_section;

    uint64_t m_table_end = 0;     // of the section table
    uint64_t m_first_raw = 0;     // of the content of sections, in the file
    uint64_t m_first_address = 0; // of the sections, in the image
    uint64_t m_body_end = 0;      // of the last section, in the file
    uint64_t m_address_end = 0;   // of the last section, in the image
    uint64_t m_overlay_end = 0;

    const Section* m_old = nullptr;
    How m_how = How::in_place;
    uint64_t m_inserted = 0; // bytes inserted after the section table
    uint64_t m_new_offset = 0;
    uint64_t m_raw_size = 0;
    uint64_t m_virtual_size = 0;
    uint64_t m_address = 0;
    uint64_t m_new_body_end = 0;
    std::map<uint64_t, Bytes> m_patches; // by offset in the old file; without overlaps
};

} // namespace

bool read_resources(const Image& image, ResourceSet& set)
{
    ResourceTree tree;
    return tree.open(image) &&
           (!tree.empty() || image.directory(directory_resources).address == 0) &&
           tree.walk(
               [&](const ResourceId& type, const ResourceId& name, uint16_t language,
                   const ResourceData& data, const Bytes& bytes) {
                   return set.try_emplace({type, name, language}, Resource{bytes, data.code_page})
                       .second;
               });
}

DWORD rewrite_resources(const Image& image, const ResourceSet& set, Pieces& result)
{
    return Rewrite(image, set, result).run();
}

} // namespace platform::pe

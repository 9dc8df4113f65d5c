#include "resource_tree.h"

#include <algorithm>

#include "system/text.h"

namespace platform::pe
{

namespace
{

constexpr uint32_t high_bit = 0x80000000u;
constexpr uint64_t directory_size = 16;
constexpr uint64_t entry_size = 8;
constexpr uint64_t description_size = 16;

bool same_unit(char16_t a, char16_t b)
{
    return a == b || fold_case(static_cast<wchar_t>(a)) == fold_case(static_cast<wchar_t>(b));
}

} // namespace

std::strong_ordering ResourceId::operator<=>(const ResourceId& other) const
{
    if (named != other.named)
        return named ? std::strong_ordering::less : std::strong_ordering::greater;
    return named ? text <=> other.text : number <=> other.number;
}

bool ResourceId::same(const ResourceId& other) const
{
    return named == other.named && (named ? std::equal(text.begin(), text.end(), other.text.begin(),
                                                       other.text.end(), same_unit)
                                          : number == other.number);
}

bool ResourceTree::open(Bytes file)
{
    m_tree = {};
    m_extents.clear();
    if (file.at<uint32_t>(0) == 0x464C457F) // "\x7f" "ELF"
        return open_elf(file);
    Image image;
    return image.parse(file) && open(image);
}

bool ResourceTree::open(const Image& image)
{
    m_tree = {};
    m_extents.clear();
    const Directory directory = image.directory(directory_resources);
    if (directory.address == 0)
        return true;
    for (const Section& section : image.sections())
    {
        // The last section of a file may lack its padding.
        const uint64_t size = image.file().size();
        const uint64_t there = section.raw_offset < size
                                   ? std::min(image.mapped_size(section), size - section.raw_offset)
                                   : 0;
        Extent extent{section.address, {}};
        if (image.file().part(section.raw_offset, there, extent.bytes) && there)
            m_extents.push_back(extent);
    }
    // The tree extends to the end of its section: the size in the data directory is not reliable in
    // files that other tools have changed.
    for (const Extent& extent : m_extents)
    {
        const uint64_t offset = directory.address - extent.address;
        if (directory.address >= extent.address && offset < extent.bytes.size())
        {
            extent.bytes.part(offset, extent.bytes.size() - offset, m_tree);
            break;
        }
    }
    return true;
}

uint32_t ResourceTree::entry_count(uint32_t directory) const
{
    if (!m_tree.holds(directory, directory_size))
        return 0;
    const uint64_t named = m_tree.at<uint16_t>(uint64_t{directory} + 12);
    const uint64_t numbered = m_tree.at<uint16_t>(uint64_t{directory} + 14);
    const uint64_t room = (m_tree.size() - directory - directory_size) / entry_size;
    return static_cast<uint32_t>(std::min(named + numbered, room));
}

bool ResourceTree::has_all_entries(uint32_t directory) const
{
    const uint64_t named = m_tree.at<uint16_t>(uint64_t{directory} + 12);
    const uint64_t numbered = m_tree.at<uint16_t>(uint64_t{directory} + 14);
    return m_tree.holds(directory, directory_size + (named + numbered) * entry_size);
}

ResourceTree::Entry ResourceTree::entry(uint32_t directory, uint32_t index) const
{
    const uint64_t at = directory + directory_size + uint64_t{index} * entry_size;
    const uint32_t target = m_tree.at<uint32_t>(at + 4);
    return {m_tree.at<uint32_t>(at), target & ~high_bit, (target & high_bit) != 0};
}

bool ResourceTree::id_of(const Entry& entry, ResourceId& id) const
{
    id = {};
    if (!(entry.id & high_bit))
    {
        id.number = static_cast<uint16_t>(entry.id);
        return entry.id <= UINT16_MAX;
    }
    const uint64_t at = entry.id & ~high_bit;
    uint16_t length = 0;
    Bytes text;
    if (!m_tree.read(at, length) || !m_tree.part(at + 2, uint64_t{length} * 2, text))
        return false;
    id.named = true;
    id.text.resize(length);
    if (length)
        std::memcpy(id.text.data(), text.data(), text.size());
    return true;
}

// As id_of and same, but without a copy of the text.
bool ResourceTree::is_named(const Entry& entry, const ResourceId& id) const
{
    if (!id.named || !(entry.id & high_bit))
        return !id.named && entry.id == id.number;
    const uint64_t at = entry.id & ~high_bit;
    uint16_t length = 0;
    if (!m_tree.read(at, length) || length != id.text.size() ||
        !m_tree.holds(at + 2, uint64_t{length} * 2))
        return false;
    for (uint64_t i = 0; i < length; ++i)
        if (!same_unit(static_cast<char16_t>(m_tree.at<uint16_t>(at + 2 + i * 2)), id.text[i]))
            return false;
    return true;
}

uint32_t ResourceTree::find_directory(uint32_t directory, const ResourceId& id) const
{
    const uint32_t count = entry_count(directory);
    for (uint32_t i = 0; i < count; ++i)
    {
        const Entry found = entry(directory, i);
        if (found.is_directory && is_named(found, id))
            return found.target;
    }
    return no_offset;
}

uint32_t ResourceTree::find_language(uint32_t directory, uint16_t language) const
{
    const uint32_t count = entry_count(directory);
    for (uint32_t i = 0; i < count; ++i)
    {
        const Entry found = entry(directory, i);
        if (!found.is_directory && found.id == language)
            return found.target;
    }
    return no_offset;
}

bool ResourceTree::bytes_of(const ResourceData& description, Bytes& bytes) const
{
    for (const Extent& extent : m_extents)
        if (description.address >= extent.address &&
            extent.bytes.part(description.address - extent.address, description.size, bytes))
            return true;
    // Empty data may have any address.
    bytes = {m_tree.data(), 0};
    return description.size == 0;
}

bool ResourceTree::data_at(uint32_t offset, ResourceData& description, Bytes& bytes) const
{
    bytes = {};
    if (!m_tree.holds(offset, description_size))
        return false;
    description.address = m_tree.at<uint32_t>(offset);
    description.size = m_tree.at<uint32_t>(uint64_t{offset} + 4);
    description.code_page = m_tree.at<uint32_t>(uint64_t{offset} + 8);
    return bytes_of(description, bytes);
}

bool ResourceTree::offset_of(const void* place, uint32_t& offset) const
{
    const auto wanted = reinterpret_cast<uintptr_t>(place);
    const auto start = reinterpret_cast<uintptr_t>(m_tree.data());
    if (wanted < start || !m_tree.holds(wanted - start, description_size) ||
        wanted - start > UINT32_MAX)
        return false;
    offset = static_cast<uint32_t>(wanted - start);
    return true;
}

// One walk over the tree. budget: the entries that it may still visit; each has eight bytes of its
// own, unless directories overlap.
struct ResourceTree::Walk
{
    const ResourceTree& tree;
    const Visitor& visitor;
    uint64_t budget;
    ResourceId type = {};
    ResourceId name = {};

    using Step = bool (Walk::*)(const Entry&);

    bool each(uint32_t directory, Step step)
    {
        const uint32_t count = tree.entry_count(directory);
        if (!tree.has_all_entries(directory) || count > budget)
            return false;
        budget -= count;
        for (uint32_t i = 0; i < count; ++i)
            if (!(this->*step)(tree.entry(directory, i)))
                return false;
        return true;
    }

    bool visit_type(const Entry& entry)
    {
        return entry.is_directory && tree.id_of(entry, type) &&
               each(entry.target, &Walk::visit_name);
    }

    bool visit_name(const Entry& entry)
    {
        return entry.is_directory && tree.id_of(entry, name) &&
               each(entry.target, &Walk::visit_language);
    }

    bool visit_language(const Entry& entry)
    {
        ResourceData data;
        Bytes bytes;
        return !entry.is_directory && entry.id <= UINT16_MAX &&
               tree.data_at(entry.target, data, bytes) &&
               visitor(type, name, static_cast<uint16_t>(entry.id), data, bytes);
    }
};

bool ResourceTree::walk(const Visitor& visitor) const
{
    if (empty())
        return true;
    Walk walk{*this, visitor, m_tree.size() / entry_size};
    return walk.each(root, &Walk::visit_type);
}

} // namespace platform::pe

#include "resource_build.h"

namespace platform::pe
{

namespace
{

constexpr uint64_t directory_size = 16;
constexpr uint64_t entry_size = 8;
constexpr uint64_t description_size = 16;
constexpr uint64_t data_alignment = 8;
constexpr uint64_t size_limit = 0x7FFFFFFF; // offsets have 31 bits
constexpr uint32_t high_bit = 0x80000000u;

// The size of a resource's data. Empty data takes room too: tools want its address to be in the
// section.
uint64_t room_for(const Bytes& bytes)
{
    return aligned(bytes.size() ? bytes.size() : 1, data_alignment);
}

uint64_t text_size(const ResourceId& id)
{
    return id.named ? 2 + uint64_t{id.text.size()} * 2 : 0;
}

// Fills the part of the section before the data.
class Writer
{
public:
    Writer(std::vector<uint8_t>& bytes, uint64_t texts) : m_bytes(bytes), m_next_text(texts) {}

    template <class Number> void number(uint64_t offset, uint64_t value)
    {
        const auto narrow = static_cast<Number>(value);
        std::memcpy(m_bytes.data() + offset, &narrow, sizeof narrow);
    }

    void head(uint64_t directory, size_t named, size_t numbered)
    {
        number<uint16_t>(directory + 12, named);
        number<uint16_t>(directory + 14, numbered);
    }

    void entry(uint64_t directory, size_t index, uint64_t id, uint64_t target)
    {
        const uint64_t at = directory + directory_size + index * entry_size;
        number<uint32_t>(at, id);
        number<uint32_t>(at + 4, target);
    }

    // The value of an entry for an id; also writes the text of a named one.
    uint64_t id(const ResourceId& id)
    {
        if (!id.named)
            return id.number;
        const uint64_t at = m_next_text;
        number<uint16_t>(at, id.text.size());
        if (!id.text.empty())
            std::memcpy(m_bytes.data() + at + 2, id.text.data(), id.text.size() * 2);
        m_next_text += text_size(id);
        return at | high_bit;
    }

private:
    std::vector<uint8_t>& m_bytes;
    uint64_t m_next_text;
};

template <class Node> size_t named_count(const std::vector<Node>& nodes)
{
    size_t count = 0;
    for (const Node& node : nodes)
        count += node.id->named;
    return count;
}

// The two counts of a directory have 16 bits each.
template <class Node> bool has_room(const std::vector<Node>& nodes)
{
    const size_t named = named_count(nodes);
    return named <= UINT16_MAX && nodes.size() - named <= UINT16_MAX;
}

} // namespace

bool ResourceSection::group(const ResourceSet& set)
{
    m_types.clear();
    for (const auto& [address, resource] : set)
    {
        if (m_types.empty() || *m_types.back().id != address.type)
            m_types.push_back({&address.type, {}});
        std::vector<Name>& names = m_types.back().names;
        if (names.empty() || *names.back().id != address.name)
            names.push_back({&address.name, {}});
        names.back().languages.emplace_back(address.language, &resource);
    }
    bool room = has_room(m_types);
    for (const Type& type : m_types)
    {
        room = room && has_room(type.names);
        for (const Name& name : type.names)
            room = room && name.languages.size() <= UINT16_MAX;
    }
    return room;
}

bool ResourceSection::plan(const ResourceSet& set)
{
    if (!group(set))
        return false;
    uint64_t directories = directory_size + m_types.size() * entry_size;
    uint64_t texts = 0;
    uint64_t data = 0;
    for (const Type& type : m_types)
    {
        directories += directory_size + type.names.size() * entry_size;
        texts += text_size(*type.id);
        for (const Name& name : type.names)
        {
            directories += directory_size + name.languages.size() * entry_size;
            texts += text_size(*name.id);
            for (const auto& [language, resource] : name.languages)
                data += room_for(resource->bytes);
        }
    }
    m_descriptions = directories;
    m_texts = m_descriptions + set.size() * description_size;
    m_data = aligned(m_texts + texts, data_alignment);
    m_size = m_data + data;
    return m_size <= size_limit;
}

void ResourceSection::put(uint32_t address, Pieces& pieces) const
{
    std::vector<uint8_t>& head = pieces.own(m_data);
    Writer writer(head, m_texts);
    const size_t named = named_count(m_types);
    writer.head(ResourceTree::root, named, m_types.size() - named);

    // Directories of types follow the root, those of names follow all of them.
    uint64_t next_names = directory_size + m_types.size() * entry_size;
    uint64_t next_languages = next_names;
    for (const Type& type : m_types)
        next_languages += directory_size + type.names.size() * entry_size;
    uint64_t next_description = m_descriptions;
    uint64_t next_data = m_data;
    pieces.put({head.data(), head.size()});
    for (size_t t = 0; t < m_types.size(); ++t)
    {
        const Type& type = m_types[t];
        writer.entry(ResourceTree::root, t, writer.id(*type.id), next_names | high_bit);
        const size_t named_names = named_count(type.names);
        writer.head(next_names, named_names, type.names.size() - named_names);
        for (size_t n = 0; n < type.names.size(); ++n)
        {
            const Name& name = type.names[n];
            writer.entry(next_names, n, writer.id(*name.id), next_languages | high_bit);
            writer.head(next_languages, 0, name.languages.size());
            for (size_t l = 0; l < name.languages.size(); ++l)
            {
                const Resource& resource = *name.languages[l].second;
                writer.entry(next_languages, l, name.languages[l].first, next_description);
                writer.number<uint32_t>(next_description, address + next_data);
                writer.number<uint32_t>(next_description + 4, resource.bytes.size());
                writer.number<uint32_t>(next_description + 8, resource.code_page);
                next_description += description_size;
                const uint64_t room = room_for(resource.bytes);
                pieces.put(resource.bytes);
                pieces.put_zeros(room - resource.bytes.size());
                next_data += room;
            }
            next_languages += directory_size + name.languages.size() * entry_size;
        }
        next_names += directory_size + type.names.size() * entry_size;
    }
}

} // namespace platform::pe

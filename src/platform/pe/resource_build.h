// A resource section, built from a list of resources.
//
// First the directories, level by level, then the descriptions of the data, the names, and the
// data, each at a multiple of eight bytes. The data is not copied: the section is made of pieces.
#pragma once

#include <map>
#include <vector>

#include "pieces.h"
#include "resource_tree.h"

namespace platform::pe
{

struct ResourceAddress
{
    ResourceId type;
    ResourceId name;
    uint16_t language;

    auto operator<=>(const ResourceAddress&) const = default;
};

struct Resource
{
    Bytes bytes;
    uint32_t code_page;
};

// In the order that a tree needs.
using ResourceSet = std::map<ResourceAddress, Resource>;

class ResourceSection
{
public:
    // False if the set is too large for a section: more than 2 GiB, or too many entries in one
    // directory. The set must not change while this is used.
    bool plan(const ResourceSet& set);

    uint64_t size() const { return m_size; }

    // Writes the section for its address in the image, which must leave room for it in 32 bits.
    void put(uint32_t address, Pieces& pieces) const;

private:
    struct Name
    {
        const ResourceId* id;
        std::vector<std::pair<uint16_t, const Resource*>> languages;
    };
    struct Type
    {
        const ResourceId* id;
        std::vector<Name> names;
    };

    bool group(const ResourceSet& set);

    std::vector<Type> m_types;
    uint64_t m_descriptions = 0; // offset of the first
    uint64_t m_texts = 0;        // offset of the first name
    uint64_t m_data = 0;         // offset of the first data
    uint64_t m_size = 0;
};

} // namespace platform::pe

// The tree of resources of a module file: type, name, language, data.
//
// In a PE file a data directory has its address; an ELF file of this system has the same tree in a
// section ".rsrc", in which addresses count from the start of the section. The tree may come from
// an untrusted file: it may be cut, point at itself or overlap. It is read three levels deep, no
// level is followed twice on one path, and a walk over all of it visits no more entries than fit
// into the tree.
#pragma once

#include <compare>
#include <functional>
#include <string>
#include <vector>

#include "image.h"

namespace platform::pe
{

// The id of a type or a name: a number or a text.
struct ResourceId
{
    bool named = false;
    uint16_t number = 0;
    std::u16string text;

    // The order in which a tree lists them: texts first.
    std::strong_ordering operator<=>(const ResourceId& other) const;
    bool operator==(const ResourceId&) const = default;
    // The same without regard to case.
    bool same(const ResourceId& other) const;
};

struct ResourceData
{
    uint32_t address = 0;
    uint32_t size = 0; // bytes
    uint32_t code_page = 0;
};

class ResourceTree
{
public:
    static constexpr uint32_t no_offset = UINT32_MAX;

    // False if the bytes are no module file. A module without resources has an empty tree. The
    // bytes must live as long as the tree.
    bool open(Bytes file);
    bool open(const Image& image);

    bool empty() const { return m_tree.size() == 0; }
    // All of the tree; its directories' offsets count from the start. Data may be elsewhere.
    const Bytes& bytes() const { return m_tree; }

    // One level: the entries of the directory at an offset, in the order of the tree. A language is
    // a number. target: offset of the entry's directory or data.
    struct Entry
    {
        uint32_t id;
        uint32_t target;
        bool is_directory;
    };
    static constexpr uint32_t root = 0;
    uint32_t entry_count(uint32_t directory) const; // those that are within the tree
    Entry entry(uint32_t directory, uint32_t index) const;
    // The name of an entry; false if its text is not within the tree.
    bool id_of(const Entry& entry, ResourceId& id) const;

    // The directory below one whose entry has the name; no_offset if there is none.
    uint32_t find_directory(uint32_t directory, const ResourceId& id) const;
    // The data of a language below the directory of a name; no_offset if there is none.
    uint32_t find_language(uint32_t directory, uint16_t language) const;

    // The description of data at an offset, and its bytes, which are within the file. False if
    // there is none, or not all of its bytes exist.
    bool data_at(uint32_t offset, ResourceData& description, Bytes& bytes) const;
    // Descriptions, as addresses in memory.
    const uint8_t* place_of(uint32_t offset) const { return m_tree.data() + offset; }
    bool offset_of(const void* place, uint32_t& offset) const;

    // Calls for every resource. False if the tree has errors anywhere, or the call returned false.
    using Visitor = std::function<bool(const ResourceId& type, const ResourceId& name,
                                       uint16_t language, const ResourceData&, const Bytes&)>;
    bool walk(const Visitor& visitor) const;

private:
    struct Walk;

    bool open_elf(Bytes file);
    bool has_all_entries(uint32_t directory) const;
    bool bytes_of(const ResourceData& description, Bytes& bytes) const;
    bool is_named(const Entry& entry, const ResourceId& id) const;

    // Where the bytes of a range of addresses are in the file.
    struct Extent
    {
        uint64_t address;
        Bytes bytes;
    };

    Bytes m_tree;
    std::vector<Extent> m_extents;
};

} // namespace platform::pe

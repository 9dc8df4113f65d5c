// Resources: reading whatever tree there is, by the calls that callers make and all of it at once.
#include "fuzz_target.h"
#include "pe/resource_tree.h"

using fuzz::check;
using namespace platform::pe;

namespace
{

// Reads every byte, so that the sanitizer checks its address.
void read_all(const Bytes& bytes)
{
    unsigned sum = 0;
    for (uint64_t i = 0; i < bytes.size(); ++i)
        sum += bytes.data()[i];
    check(sum <= bytes.size() * 255, "data is all there");
}

// Follows every entry three levels deep.
void look_up(const ResourceTree& tree)
{
    unsigned budget = 2000; // trees that overlap have no end
    for (uint32_t t = 0; t < tree.entry_count(ResourceTree::root) && budget; ++t, --budget)
    {
        const ResourceTree::Entry type = tree.entry(ResourceTree::root, t);
        ResourceId id;
        if (!type.is_directory || !tree.id_of(type, id))
            continue;
        check(tree.find_directory(ResourceTree::root, id) != ResourceTree::no_offset,
              "what is listed is found");
        for (uint32_t n = 0; n < tree.entry_count(type.target) && budget; ++n, --budget)
        {
            const uint32_t found = tree.find_language(tree.entry(type.target, n).target, 0);
            ResourceData data;
            Bytes bytes;
            if (found == ResourceTree::no_offset || !tree.data_at(found, data, bytes))
                continue;
            check(bytes.size() == data.size, "data has the size that it is said to have");
            read_all(bytes);
        }
    }
}

} // namespace

void fuzz::run(Input input)
{
    ResourceTree tree;
    if (!tree.open({input.data(), input.size()}))
        return;
    look_up(tree);
    uint64_t visits = 0;
    tree.walk(
        [&](const ResourceId&, const ResourceId&, uint16_t, const ResourceData&, const Bytes& bytes)
        {
            if (bytes.size() <= 4096) // overlapping data is read often enough
                read_all(bytes);
            return ++visits != 0;
        });
    check(visits <= input.size() / 8, "a walk visits no more than there is room for");
}

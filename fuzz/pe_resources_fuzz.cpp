// Resources: reading whatever tree there is; and of a file that can be changed, that what was
// stored can be read back and the rest is as it was.
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "pe/rewrite.h"

using namespace platform::pe;

namespace
{

// Follows every entry three levels deep, by the calls that callers make.
void look_up(const ResourceTree& tree)
{
    unsigned budget = 2000; // trees that overlap have no end
    for (uint32_t t = 0; t < tree.entry_count(ResourceTree::root) && budget; ++t, --budget)
    {
        const ResourceTree::Entry type = tree.entry(ResourceTree::root, t);
        ResourceId id;
        if (!type.is_directory || !tree.id_of(type, id))
            continue;
        fuzz::check(tree.find_directory(ResourceTree::root, id) != ResourceTree::no_offset,
                    "what is listed is found");
        for (uint32_t n = 0; n < tree.entry_count(type.target) && budget; ++n, --budget)
        {
            const ResourceTree::Entry name = tree.entry(type.target, n);
            const uint32_t found = tree.find_language(name.target, 0);
            ResourceData data;
            Bytes bytes;
            if (found == ResourceTree::no_offset || !tree.data_at(found, data, bytes))
                continue;
            unsigned sum = 0;
            for (uint64_t i = 0; i < bytes.size(); ++i)
                sum += bytes.data()[i]; // the sanitizer sees where it leads
            fuzz::check(bytes.size() == data.size && sum <= bytes.size() * 255,
                        "data is all there");
        }
    }
}

std::string text_of(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void update(const Bytes& file)
{
    Image image;
    ResourceSet set;
    if (!image.parse(file) || !read_resources(image, set))
        return;
    const std::string added(file.size() % 3000, 'x');
    ResourceAddress address{{}, {}, 0};
    address.type.number = 10;
    address.name = {true, 0, u"ADDED"};
    set[address] = {{added.data(), added.size()}, 0};
    Pieces pieces;
    if (rewrite_resources(image, set, pieces) != 0)
        return;
    fuzz::check(pieces.size() <= file.size() + added.size() + 65'536 * 2 + set.size() * 128 +
                                     image.file_alignment() * 4ull + file.size() * 8,
                "a file grows by what was added");
    std::vector<uint8_t> whole;
    for (const Bytes& piece : pieces.all())
        whole.insert(whole.end(), piece.data(), piece.data() + piece.size());
    Image again;
    ResourceSet back;
    fuzz::check(again.parse({whole.data(), whole.size()}), "what was written has headers");
    fuzz::check(read_resources(again, back), "and a sound tree");
    fuzz::check(back.size() == set.size(), "of as many resources");
    for (const auto& [where, resource] : set)
    {
        const auto found = back.find(where);
        fuzz::check(found != back.end() && text_of(found->second.bytes) == text_of(resource.bytes),
                    "each with its data");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // In memory of exactly this size, so that the sanitizer sees a read beyond.
    const std::vector<uint8_t> exact(data, data + size);
    const Bytes file(exact.data(), exact.size());
    ResourceTree tree;
    if (tree.open(file))
    {
        look_up(tree);
        tree.walk([](const ResourceId&, const ResourceId&, uint16_t, const ResourceData&,
                     const Bytes&) { return true; });
    }
    update(file);
    return 0;
}

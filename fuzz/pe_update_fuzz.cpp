// Changes resources and reads them again: if a file can be changed, the stored resources are read
// back, and the rest is unchanged. Then once more with the resulting file: an existing resource is
// replaced, others are removed.
#include "fuzz_target.h"
#include "pe/rewrite.h"

using fuzz::check;
using namespace platform::pe;

namespace
{

using Content = std::vector<uint8_t>;

std::span<const uint8_t> span_of(const Bytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

void put(ResourceSet& set, const Content& bytes)
{
    ResourceAddress address{{}, {true, 0, u"ADDED"}, 0};
    address.type.number = 10;
    set[address] = {{bytes.data(), bytes.size()}, 0};
}

// The new file's content; empty if the file is refused.
Content rewrite(const Image& image, const ResourceSet& set)
{
    Pieces pieces;
    if (rewrite_resources(image, set, pieces) != 0)
        return {};
    Content whole;
    for (const Bytes& piece : pieces.all())
        whole.insert(whole.end(), piece.data(), piece.data() + piece.size());
    return whole;
}

// The written file has all resources of the set and no others.
void read_back(const Content& written, const ResourceSet& set, Image& image, ResourceSet& back)
{
    check(image.parse({written.data(), written.size()}), "what was written has headers");
    check(read_resources(image, back), "and a sound tree");
    const auto is_same = [](const auto& one, const auto& other)
    {
        return (one.first <=> other.first) == 0 &&
               std::ranges::equal(span_of(one.second.bytes), span_of(other.second.bytes)) &&
               one.second.code_page == other.second.code_page;
    };
    check(std::ranges::equal(back, set, is_same), "of as many resources, each with its data");
}

} // namespace

void fuzz::run(Input input)
{
    Image image, again, last;
    ResourceSet set, set_again, last_set;
    if (!image.parse({input.data(), input.size()}) || !read_resources(image, set))
        return;
    const Content added(input.size() % 3000, 'x');
    put(set, added);
    const Content first = rewrite(image, set);
    if (first.empty())
        return;
    read_back(first, set, again, set_again);
    check(rewrite(again, set_again).size() == first.size(),
          "the same once more takes no more room");

    set_again.erase(set_again.begin());
    const Content replaced(input.size() % 7000, 'y');
    put(set_again, replaced);
    const Content second = rewrite(again, set_again);
    if (!second.empty()) // empty if only the first one had fitted
        read_back(second, set_again, last, last_set);
}

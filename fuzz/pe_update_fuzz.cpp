// Changing resources and reading them again: of a file that can be changed, what was stored is
// read back, and the rest is as it was. Then once more, with the file that came of it: a resource
// that is there is replaced, others go.
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "pe/rewrite.h"

using namespace platform::pe;

namespace
{

using Content = std::vector<uint8_t>;

std::string text_of(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void put(ResourceSet& set, const std::u16string& name, const std::string& bytes)
{
    ResourceAddress address{{}, {}, 0};
    address.type.number = 10;
    address.name = {true, 0, name};
    set[address] = {{bytes.data(), bytes.size()}, 0};
}

// The new file's content; empty if the file is refused.
Content rewrite(const Image& image, const ResourceSet& set)
{
    Pieces pieces;
    if (rewrite_resources(image, set, pieces) != 0)
        return {};
    uint64_t data = 0;
    for (const auto& [where, resource] : set)
        data += resource.bytes.size() + 8 + where.type.text.size() * 2 + where.name.text.size() * 2;
    fuzz::check(pieces.size() <= image.file().size() + data + set.size() * 128 + 65'536 * 2 +
                                     image.file_alignment() * 4ull,
                "a file grows by what is stored");
    Content whole;
    for (const Bytes& piece : pieces.all())
        whole.insert(whole.end(), piece.data(), piece.data() + piece.size());
    return whole;
}

// What was written has the resources of the set, all and no others.
void read_back(const Content& written, const ResourceSet& set, Image& image, ResourceSet& back)
{
    fuzz::check(image.parse({written.data(), written.size()}), "what was written has headers");
    fuzz::check(read_resources(image, back), "and a sound tree");
    fuzz::check(back.size() == set.size(), "of as many resources");
    for (const auto& [where, resource] : set)
    {
        const auto found = back.find(where);
        fuzz::check(found != back.end() && text_of(found->second.bytes) == text_of(resource.bytes),
                    "each with its data");
        fuzz::check(found->second.code_page == resource.code_page, "and its code page");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // In memory of exactly this size, so that the sanitizer sees a read beyond.
    const Content exact(data, data + size);
    Image image;
    ResourceSet set;
    if (!image.parse({exact.data(), exact.size()}) || !read_resources(image, set))
        return 0;
    const std::string added(size % 3000, 'x');
    put(set, u"ADDED", added);
    const Content first = rewrite(image, set);
    if (first.empty())
        return 0;
    Image image_again;
    ResourceSet again;
    read_back(first, set, image_again, again);

    const Content same = rewrite(image_again, again);
    fuzz::check(same.size() == first.size(), "the same once more takes no more room");

    again.erase(again.begin());
    const std::string replaced(size % 7000, 'y');
    put(again, u"ADDED", replaced);
    const Content second = rewrite(image_again, again);
    if (second.empty()) // no room for more, where the first had just fitted in
        return 0;
    Image last_image;
    ResourceSet last;
    read_back(second, again, last_image, last);
    return 0;
}

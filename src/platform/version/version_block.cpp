#include "version_block.h"

#include <algorithm>

#include "system/text.h"

namespace platform
{

namespace
{

constexpr uint64_t head_size = 6; // length, length of the value, kind of the value: 16 bits each

// One block; offsets count from the start of the outermost.
struct Node
{
    uint64_t start;
    uint64_t end;
    uint64_t key; // its first character; zero-terminated within the block
    size_t key_length;
    uint64_t value;
    uint64_t value_end;
    bool is_text;
};

// False if there is no block at this offset before the limit.
bool read_node(const pe::Bytes& bytes, uint64_t start, uint64_t limit, Node& node)
{
    if (limit > bytes.size() || start > limit || limit - start < head_size)
        return false;
    const uint64_t length = bytes.at<uint16_t>(start);
    if (length < head_size)
        return false;
    node.start = start;
    node.end = std::min(start + length, limit); // too great a length is cut
    node.is_text = bytes.at<uint16_t>(start + 4) == 1;
    node.key = start + head_size;
    node.key_length = 0;
    uint64_t at = node.key;
    for (;; at += 2, ++node.key_length)
    {
        if (node.end - at < 2)
            return false; // the key has no end within its block
        if (bytes.at<uint16_t>(at) == 0)
            break;
    }
    node.value = std::min(pe::aligned(at + 2, 4), node.end);
    // A text's size is in characters, though not every compiler counts so: never more than the
    // block has.
    const uint64_t size = uint64_t{bytes.at<uint16_t>(start + 2)} * (node.is_text ? 2 : 1);
    node.value_end = std::min(node.value + size, node.end);
    return true;
}

bool has_key(const pe::Bytes& bytes, const Node& node, std::u16string_view key)
{
    if (node.key_length != key.size())
        return false;
    for (size_t i = 0; i < key.size(); ++i)
        if (fold_case(static_cast<wchar_t>(bytes.at<uint16_t>(node.key + i * 2))) !=
            fold_case(static_cast<wchar_t>(key[i])))
            return false;
    return true;
}

bool find_child(const pe::Bytes& bytes, const Node& parent, std::u16string_view key, Node& child)
{
    uint64_t at = pe::aligned(parent.value_end, 4);
    while (read_node(bytes, at, parent.end, child))
    {
        if (has_key(bytes, child, key))
            return true;
        at = pe::aligned(child.end, 4); // always moves on: a block is not shorter than its head
    }
    return false;
}

} // namespace

bool find_version_value(const pe::Bytes& block, std::u16string_view path, VersionValue& value)
{
    Node node;
    if (!read_node(block, 0, block.size(), node))
        return false;
    while (!path.empty())
    {
        if (path.front() == u'\\')
        {
            path.remove_prefix(1);
            continue;
        }
        const std::u16string_view key = path.substr(0, path.find(u'\\'));
        path.remove_prefix(key.size());
        const Node parent = node;
        if (!find_child(block, parent, key, node))
            return false;
    }
    value.offset = node.value;
    value.size = static_cast<uint32_t>((node.value_end - node.value) / (node.is_text ? 2 : 1));
    return true;
}

} // namespace platform

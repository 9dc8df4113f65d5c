#include "record_block.h"

#include <algorithm>
#include <cstring>

namespace trace
{

namespace
{

constexpr uint32_t no_name = UINT32_MAX;

enum Flag : uint32_t
{
    inherited_time = 1,
    loss = 2,      // its Loss is between head and text
    uncounted = 4, // a loss of unknown number
};

struct Head
{
    Time time;
    DWORD process;
    int32_t window;
    uint32_t text_size;
    uint32_t name; // where it is in the block
    uint32_t flags;
    uint32_t reserved;
};

struct Loss
{
    uint64_t lost;
    Time since;
};

template <class T> T read_at(const char* place)
{
    T value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

// A name is stored as its length and its characters.
std::string_view text_at(const char* place)
{
    return {place + sizeof(uint32_t), read_at<uint32_t>(place)};
}

size_t bytes_without_name(const RecordView& record)
{
    return sizeof(Head) + (record.is_loss() ? sizeof(Loss) : 0) + record.text.size() +
           sizeof(uint32_t);
}

} // namespace

size_t RecordBlock::most_bytes(const RecordView& record)
{
    return bytes_without_name(record) +
           (record.name.empty() ? 0 : sizeof(uint32_t) + record.name.size());
}

RecordBlock::RecordBlock(size_t bytes, const RecordView& record)
    : m_pages(std::max(bytes, most_bytes(record)))
{
}

bool RecordBlock::append(const RecordView& record)
{
    if (bytes() + most_bytes(record) > m_pages.bytes())
        return false;
    const Head head{.time = record.time,
                    .process = record.process,
                    .window = record.window,
                    .text_size = static_cast<uint32_t>(record.text.size()),
                    .name = name_at(record.name),
                    .flags = (record.is_time_inherited ? uint32_t{inherited_time} : 0U) |
                             (record.is_loss() ? uint32_t{loss} : 0U) |
                             (record.is_uncounted ? uint32_t{uncounted} : 0U),
                    .reserved = 0};
    const auto start = static_cast<uint32_t>(m_used);
    const auto put = [this](const void* data, size_t size)
    {
        if (size > 0)
            std::memcpy(m_pages.data() + m_used, data, size);
        m_used += size;
    };
    put(&head, sizeof head);
    if (record.is_loss())
    {
        const Loss news{record.lost, record.since};
        put(&news, sizeof news);
    }
    put(record.text.data(), record.text.size());
    ++m_count;
    std::memcpy(m_pages.data() + m_pages.bytes() - m_count * sizeof start, &start, sizeof start);
    return true;
}

void RecordBlock::seal()
{
    m_names = {};
    // Where a record had no more room, the rest may be large, and resident from a former use.
    const size_t unused = m_pages.bytes() - bytes();
    m_rest = unused - give_back_pages(m_pages.data() + m_used, unused);
}

void RecordBlock::clear()
{
    m_used = 0;
    m_count = 0;
    m_rest = 0;
    m_names.clear();
}

RecordView RecordBlock::operator[](size_t index) const
{
    const char* place = m_pages.data() + offset_of(index);
    const Head head = read_at<Head>(place);
    place += sizeof head;
    RecordView record;
    record.time = head.time;
    record.is_time_inherited = (head.flags & inherited_time) != 0;
    record.process = head.process;
    record.window = head.window;
    if (head.name != no_name)
        record.name = text_at(m_pages.data() + head.name);
    if (head.flags & loss)
    {
        const Loss news = read_at<Loss>(place);
        record.lost = news.lost;
        record.is_uncounted = (head.flags & uncounted) != 0;
        record.since = news.since;
        place += sizeof news;
    }
    record.text = {place, head.text_size};
    return record;
}

size_t RecordBlock::bytes_before(size_t index) const
{
    return index == m_count ? bytes() : offset_of(index) + index * sizeof(uint32_t);
}

uint32_t RecordBlock::offset_of(size_t index) const
{
    return read_at<uint32_t>(m_pages.data() + m_pages.bytes() - (index + 1) * sizeof(uint32_t));
}

uint32_t RecordBlock::name_at(std::string_view name)
{
    if (name.empty())
        return no_name;
    // Often many records of one process follow each other.
    if (!m_names.empty() && text_at(m_pages.data() + m_last_name) == name)
        return m_last_name;
    const auto [known, is_new] = m_names.try_emplace(std::string(name), uint32_t{0});
    if (is_new)
    {
        known->second = static_cast<uint32_t>(m_used);
        const auto size = static_cast<uint32_t>(name.size());
        std::memcpy(m_pages.data() + m_used, &size, sizeof size);
        std::memcpy(m_pages.data() + m_used + sizeof size, name.data(), name.size());
        m_used += sizeof size + name.size();
    }
    return m_last_name = known->second;
}

} // namespace trace

#include "log_bounds.h"

#include <algorithm>
#include <deque>
#include <set>
#include <tuple>

#include "failure.h"

namespace trace
{

namespace
{

constexpr uint64_t first_window = 64 << 10; // bytes
constexpr unsigned window_growth = 4;

// The number of records that are searched for at a time; more are found in portions.
constexpr uint64_t most_places = 20'000;

// The most by which a stamp can be later than the time when its file was last written: stamps are
// local times, perhaps of another zone.
constexpr Time zone_slack = Time{26} * 60 * 60 * second;

// A record's place in the order of the stream.
struct Place
{
    Time key;
    std::string date;
    uint64_t number;
    size_t reader;
    uint64_t offset;

    auto order() const { return std::tie(key, date, number, reader, offset); }
    bool operator<(const Place& other) const { return order() < other.order(); }
};

bool is_written_before(const LogReader& reader, Time time)
{
    return reader.name().written != 0 && file_time(reader.name().written) + zone_slack < time;
}

// Whether all records of the file are older, by the time when it was last written, or by its last
// stamp.
bool is_before(LogReader& reader, Time time, const Moment& now)
try
{
    if (is_written_before(reader, time))
        return true;
    if (reader.name().size <= first_window)
        return false; // reading the whole file costs no more
    const Time last = reader.last_time(now);
    return last != unknown_time && last < time;
}
catch (const Failure&) // reported when the file is read
{
    return false;
}

// The times in a file increase, except where a clock was set back.
void start_since(LogReader& reader, Time since, const Moment& now)
try
{
    uint64_t before = 0;
    uint64_t behind = reader.name().size;
    while (behind - before > first_window)
    {
        const uint64_t middle = before + (behind - before) / 2;
        reader.seek(middle, now);
        if (reader.look(now) == LogReader::Head::none || reader.key() >= since)
            behind = middle;
        else
            before = middle;
    }
    reader.seek(before, now);
}
catch (const Failure&) // reported when the file is read
{
}

// The places of the last `count` records of a file before `end`; none if the file can't be read,
// which is reported later.
std::deque<Place> last_places(LogReader& reader, size_t index, uint64_t end, uint64_t count,
                              const Moment& now)
try
{
    const LogName& name = reader.name();
    std::deque<Place> places;
    for (uint64_t window = first_window;; window *= window_growth)
    {
        const uint64_t start = end > window ? end - window : 0;
        places.clear();
        reader.seek(start, now);
        while (reader.look(now) != LogReader::Head::none && reader.offset() < end)
        {
            places.push_back({reader.key(), name.date, name.number, index, reader.offset()});
            if (places.size() > count)
                places.pop_front();
            reader.pass();
        }
        if (places.size() == count || start == 0)
            return places;
    }
}
catch (const Failure&)
{
    reader.look_again();
    return {};
}

using Readers = std::vector<std::shared_ptr<LogReader>>;

// The file that was written last comes first.
std::vector<size_t> by_age(const Readers& readers)
{
    std::vector<size_t> order(readers.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b)
              { return readers[a]->name().written > readers[b]->name().written; });
    return order;
}

// Moves the ends of the files back over the last `count` records of all files; returns how many
// there were.
uint64_t move_back(const Readers& readers, const std::vector<size_t>& order, uint64_t count,
                   std::vector<uint64_t>& ends, const Moment& now)
{
    std::set<Place> last;
    for (const size_t i : order)
    {
        LogReader& reader = *readers[i];
        if (ends[i] == 0)
            continue;
        if (last.size() == count && is_before(reader, last.begin()->key, now))
        {
            reader.rest();
            continue;
        }
        for (Place& place : last_places(reader, i, ends[i], count, now))
            last.insert(std::move(place));
        while (last.size() > count)
            last.erase(last.begin());
        reader.rest();
    }
    for (const Place& place : last)
        ends[place.reader] = std::min(ends[place.reader], place.offset);
    return last.size();
}

void start_tail(const Readers& readers, uint64_t count, const Moment& now)
{
    const std::vector<size_t> order = by_age(readers);
    std::vector<uint64_t> ends(readers.size());
    for (size_t i = 0; i < ends.size(); ++i)
        ends[i] = readers[i]->name().size;
    while (count > 0)
    {
        const uint64_t wanted = std::min(count, most_places);
        count = move_back(readers, order, wanted, ends, now) == wanted ? count - wanted : 0;
    }
    for (size_t i = 0; i < ends.size(); ++i)
        if (ends[i] == readers[i]->name().size)
            readers[i]->skip_all();
        else
        {
            readers[i]->seek(ends[i], now);
            readers[i]->rest();
        }
}

} // namespace

void start_readers(const std::vector<std::shared_ptr<LogReader>>& readers, const LogBounds& bounds,
                   const Moment& now)
{
    if (bounds.tail)
        return start_tail(readers, *bounds.tail, now);
    if (!bounds.since)
        return;
    for (const std::shared_ptr<LogReader>& reader : readers)
    {
        if (is_before(*reader, *bounds.since, now))
            reader->skip_all();
        else
            start_since(*reader, *bounds.since, now);
        reader->rest();
    }
}

} // namespace trace

// Places that stay while filters change and old records are dropped; searching, the seconds of a
// timeline, and the memory that is used.
#include "support/test.h"

#include <random>

#include "pages.h"
#include "row_set.h"
#include "search.h"
#include "store.h"
#include "support/resident.h"
#include "timeline.h"
#include "view.h"

namespace
{

using namespace trace;
using test::resident;
using test::sanitizers_share;

Record numbered(uint64_t number)
{
    const bool is_third = number % 3 == 0;
    return {.time = static_cast<Time>(number) * millisecond,
            .process = 7,
            .text = (is_third ? "fizz " : "word ") + std::to_string(number)};
}

void fill(Store& store, uint64_t count)
{
    while (count-- > 0)
        store.append(numbered(store.end()));
}

void finish(View& view)
{
    while (view.advance(1000))
    {
    }
}

// Compared with a list that does the same slowly.
TEST(RowSet, FindsRowsAndNumbersWhateverTheOrderInWhichTheyCameAndWent)
{
    std::mt19937 random(1);
    RowSet rows;
    std::vector<uint64_t> expected;
    constexpr uint64_t most = 60'000; // many parts
    uint64_t first = 0;
    for (int step = 0; step < 3'000; ++step)
    {
        const uint64_t number = first + random() % (most - first);
        const auto place = std::lower_bound(expected.begin(), expected.end(), number);
        ASSERT_EQ(rows.rank(number), static_cast<size_t>(place - expected.begin()));
        ASSERT_EQ(rows.has(number), place != expected.end() && *place == number);
        if (step % 100 == 99)
        {
            first += random() % 1'500;
            const auto kept = std::lower_bound(expected.begin(), expected.end(), first);
            ASSERT_EQ(rows.drop_below(first), static_cast<size_t>(kept - expected.begin()));
            expected.erase(expected.begin(), kept);
        }
        else if (!rows.has(number))
        {
            rows.add(number);
            expected.insert(place, number);
        }
        ASSERT_EQ(rows.size(), expected.size());
        if (expected.empty())
            continue;
        const size_t row = random() % expected.size();
        ASSERT_EQ(rows.number(row), expected[row]);
    }
}

TEST(ViewPlace, AChangedFilterShowsTheNeighboursOfTheAnchorFirstAndTheNearestRow)
{
    Store store;
    fill(store, 100'000);
    View view(store);
    finish(view);
    const uint64_t anchor = 50'000; // not a multiple of three
    view.set_filter({.include = {Pattern("fizz")}}, anchor);
    EXPECT_EQ(view.rows(), 0u);
    EXPECT_TRUE(view.advance(600));
    ASSERT_GT(view.rows(), 150u);
    EXPECT_LT(view.progress(), 0.01);
    EXPECT_EQ(view.number(*view.nearest_row(anchor)), 50'001u);
    EXPECT_LT(view.number(0), anchor);
    const View::Added page = view.take_added();
    EXPECT_GT(page.top, 0u);
    EXPECT_EQ(page.top + page.bottom, view.rows());
    size_t rows = view.rows();
    size_t top = 0;
    while (view.advance(5'000))
    {
        const View::Added added = view.take_added();
        ASSERT_EQ(view.rows(), rows + added.top + added.bottom);
        rows = view.rows();
        top += added.top;
    }
    EXPECT_GT(top, 10'000u);
    EXPECT_EQ(view.rows(), 33'334u);
    EXPECT_EQ(view.progress(), 1.0);
    const uint64_t shown = view.number(*view.nearest_row(anchor));
    view.set_filter({}, shown);
    view.advance(100);
    EXPECT_EQ(view.number(*view.nearest_row(shown)), shown) << "unfiltered for its context";
}

TEST(ViewPlace, WhenOldRecordsGoATableLearnsHowManyRowsWentAboveIt)
{
    Store store(200'000);
    fill(store, 2'000);
    View view(store, {.include = {Pattern("fizz")}});
    finish(view);
    view.take_added();
    const size_t row = 500;
    const uint64_t number = view.number(row);
    const size_t rows = view.rows();
    while (store.first() < 900)
        fill(store, 1);
    const size_t gone = view.trim();
    EXPECT_EQ(gone, 300u);
    EXPECT_EQ(view.number(row - gone), number);
    finish(view);
    EXPECT_EQ(view.take_added().bottom, view.rows() + gone - rows);
    EXPECT_EQ(view.take_missed(), 0u);
}

TEST(Searching, HitsAreCountedMarkedAndFollowedAsTheViewGoesOn)
{
    Store store;
    fill(store, 9'000);
    View view(store, {.include = {Pattern("fizz")}});
    Search search(view);
    search.set(Pattern("FIZZ \\d*5$", Case::ignored));
    const auto look = [&]
    {
        finish(view);
        while (search.advance(700))
        {
        }
    };
    look();
    EXPECT_EQ(search.count(), 300u) << "every thirtieth record";
    EXPECT_EQ(search.next(std::nullopt), 15u);
    EXPECT_EQ(search.next(15), 45u);
    EXPECT_EQ(search.next(8'985), 15u) << "round";
    EXPECT_EQ(search.previous(15), 8'985u);
    EXPECT_EQ(search.previous(46), 45u);
    EXPECT_EQ(search.index_of(45), 2u);
    EXPECT_EQ(search.index_of(46), 0u);
    EXPECT_EQ(search.marks(3), (std::vector<size_t>{100, 100, 100}));
    size_t all = 0;
    for (const size_t mark : search.marks(7'777)) // more parts than rows
        all += mark;
    EXPECT_EQ(all, 300u);
    fill(store, 30);
    look();
    EXPECT_EQ(search.count(), 301u) << "new records are searched as they come";
    view.set_filter({.exclude = {Pattern("[1-9]5$")}});
    look();
    EXPECT_EQ(search.count(), 30u) << "a changed filter is followed: 105, 405 and so on";
    for (int i = 0; i < 2; ++i) // searching these would never end
        store.append(Record{.time = current_time(), .text = std::string(200, 'a') + "!"});
    search.set(Pattern("^(a+)+$|fizz 3$"));
    look();
    EXPECT_EQ(search.count(), 1u);
    EXPECT_EQ(search.unknown(), 2u) << "what is not known is said";
    for (const char* const tagged : {"2024-03-05 14:07:33.006 *vtq* |wndid:5| fizz of a window",
                                     "2024-03-05 14:07:33.006 *vtq* fizz |wndid:5| of a window"})
        store.append(Record{.time = current_time(), .text = tagged});
    for (const auto& [pattern, plain, raw] :
         {std::tuple("^fizz of a window", 2u, 0u), std::tuple("wndid:5", 0u, 2u)})
    {
        search.set(Pattern(pattern));
        for (const TextForm form : {TextForm::plain, TextForm::raw})
        {
            search.set_form(form);
            look();
            EXPECT_EQ(search.count(), form == TextForm::plain ? plain : raw) << pattern;
        }
    }
    store.clear();
    view.cleared();
    look();
    EXPECT_EQ(search.count() + search.unknown(), 0u);
    EXPECT_EQ(search.next(15), std::nullopt);
}

TEST(TimelineOfAView, CountsSecondsByColourAndFindsTheRecordOfATime)
{
    Store store;
    fill(store, 10'000); // a thousand a second, from 1970 on
    store.append(Record{.time = current_time() * 2, .text = "of a clock that is wrong"});
    View view(store);
    Timeline line(view, 4);
    line.set_highlights(Highlights({Pattern("fizz")}));
    finish(view);
    while (line.advance(333))
    {
    }
    ASSERT_EQ(line.seconds().size(), 4u);
    EXPECT_EQ(line.start(), 6 * second);
    for (const Timeline::Second& each : line.seconds())
    {
        EXPECT_EQ(each.all, 1000u);
        EXPECT_NEAR(each.by_colour.at(0), 333, 1);
    }
    EXPECT_EQ(line.record_at(7 * second), 7'000u);
    fill(store, 1);
    finish(view);
    line.advance(10);
    EXPECT_EQ(line.start(), 7 * second) << "the oldest second goes";
}

// Millions of records with PLINTH_SOAK_SECONDS, else enough to fill what is kept several times.
TEST(StoreMemory, OfVeryManyRecordsIsWhatIsKeptAndIsGivenBackByAClear)
{
    constexpr size_t keep = 16 << 20;
    const bool is_soak = std::getenv("PLINTH_SOAK_SECONDS") != nullptr;
    const uint64_t count = is_soak ? 5'000'000 : 200'000;
    Store store(keep);
    std::vector<std::unique_ptr<View>> views;
    std::vector<std::unique_ptr<Search>> searches;
    for (int i = 0; i < 5; ++i) // tabs, each with a search
    {
        views.push_back(std::make_unique<View>(store));
        searches.push_back(std::make_unique<Search>(*views.back()));
        searches.back()->set(Pattern("word"));
    }
    const size_t before = resident();
    const auto fill_with = [&](size_t size, uint64_t records)
    {
        const std::string text(size, 'x');
        size_t most = 0;
        for (uint64_t i = 1; i <= records; ++i)
        {
            Record record = numbered(store.end());
            record.text += text;
            record.name = std::make_shared<const std::string>("program");
            store.append(record);
            if (i % (records / 40) != 0)
                continue;
            for (size_t view = 0; view < views.size(); ++view)
            {
                views[view]->trim();
                finish(*views[view]);
                searches[view]->advance(SIZE_MAX);
            }
            most = std::max(most, resident() - before);
        }
        std::printf("soak: %zu KiB resident for %zu KiB kept, %zu of them records\n", most >> 10,
                    keep >> 10, static_cast<size_t>(store.end() - store.first()));
        EXPECT_LT(most, keep / 10 * 11 + sanitizers_share) << "records of " << size << " bytes";
        EXPECT_GT((store.end() - store.first()) * (size + 120), keep / 10 * 9) << "mostly texts";
    };
    fill_with(80, count);
    fill_with(keep / 112, 400); // half of a block's room is left over
    store.clear();
    for (size_t i = 0; i < views.size(); ++i)
    {
        views[i]->cleared();
        searches[i]->advance(1);
    }
    give_back_heap();
    EXPECT_LT(resident(), before + (2 << 20) + sanitizers_share);
}

} // namespace

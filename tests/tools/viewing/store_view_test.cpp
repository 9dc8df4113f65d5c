// Which records are kept and shown, and how the others are counted; which records pass, what is
// highlighted, and patterns whose search would never end.
#include "support/test.h"

#include "bookmarks.h"
#include "filter.h"
#include "highlights.h"
#include "line_format.h"
#include "store.h"
#include "view.h"

namespace
{

using namespace trace;

Record text(const std::string& text)
{
    return {.time = 1, .process = 7, .text = text};
}

class StoreView : public testing::Test
{
protected:
    void add(const std::string& words)
    {
        for (const char word : words)
            store.append(text(std::string(1, word)));
    }

    // Lets the view look at all records, and returns the texts of its rows, joined.
    std::string rows()
    {
        view.trim();
        while (view.advance(1))
        {
        }
        return shown();
    }
    std::string shown() const
    {
        std::string rows;
        for (size_t row = 0; row < view.rows(); ++row)
            rows += view.record(row).text;
        return rows;
    }

    // The first kept record, the end, and the numbers of all, lost and dropped records.
    std::vector<uint64_t> counts() const
    {
        return {store.first(), store.end(), store.all(), store.lost(), store.dropped()};
    }
    using Counts = std::vector<uint64_t>;

    static Filter including(const std::string& pattern) { return {.include = {Pattern(pattern)}}; }

    // Has room for four records of one character.
    Store store{4 * RecordBlock::most_bytes(text("x"))};
    View view{store};
};

TEST_F(StoreView, BeyondItsMemoryTheOldestGoAndAreCounted)
{
    add("abcdef");
    EXPECT_EQ(counts(), (Counts{2, 6, 6, 0, 2}));
    EXPECT_EQ(store[2].text, "c");
    store.append(text(std::string(10000, 'x')));
    EXPECT_EQ(counts(), (Counts{6, 7, 7, 0, 6})) << "the newest stays whatever its size";
    add("y");
    EXPECT_EQ(counts(), (Counts{7, 8, 8, 0, 7}));
    EXPECT_EQ(store[7].text, "y");
    EXPECT_EQ(store.bytes(), RecordBlock::most_bytes(text("y")));
}

TEST_F(StoreView, AChangedFilterLooksAtAllThatIsKeptAndLossesAreShownWhateverItIs)
{
    add("ab");
    store.append(loss_of(12, "12 records lost"));
    view.set_filter(including("a"));
    EXPECT_TRUE(view.advance(2)) << "step by step";
    EXPECT_EQ(shown(), "a");
    EXPECT_EQ(rows(), "a12 records lost");
    view.set_filter({});
    EXPECT_EQ(rows(), "ab12 records lost");
    EXPECT_EQ(view.take_missed(), 0u);
    EXPECT_EQ(counts(), (Counts{0, 3, 2, 12, 0}));
}

TEST_F(StoreView, RowsOfRecordsThatWentGoTooAndWhatWentDuringAPauseIsMissed)
{
    add("abcd");
    rows();
    add("ef");
    EXPECT_EQ(view.stale(), 2u);
    EXPECT_EQ(rows(), "cdef");
    EXPECT_EQ(view.row_of(1), std::nullopt);
    EXPECT_EQ(view.row_of(2), 0u);
    add("abcdef");
    rows();
    EXPECT_EQ(view.take_missed(), 0u) << "there was no pause";
    add("abcdef"); // two of these have gone when the pause begins
    view.pause();
    EXPECT_EQ(rows(), "cdef");
    add("ghijkl");
    EXPECT_EQ(view.progress(), 1.0) << "all up to the pause has gone: nothing is left to do";
    view.resume();
    EXPECT_EQ(rows(), "ijkl");
    EXPECT_EQ(view.take_missed(), 2u);
    EXPECT_EQ(view.take_missed(), 0u);
}

TEST_F(StoreView, BookmarksGoRoundOverWhatIsShown)
{
    Bookmarks marks;
    add("abcd");
    rows();
    EXPECT_EQ(marks.next(view, std::nullopt), std::nullopt);
    for (const uint64_t number : {0, 1, 3})
        marks.toggle(number);
    EXPECT_EQ(marks.next(view, std::nullopt), 0u);
    EXPECT_EQ(marks.next(view, 0), 1u);
    EXPECT_EQ(marks.next(view, 3), 0u);
    EXPECT_EQ(marks.previous(view, 0), 3u);
    EXPECT_EQ(marks.previous(view, std::nullopt), 3u);
    view.set_filter(including("[ad]"));
    rows();
    EXPECT_EQ(marks.next(view, 0), 3u) << "the filter hides one";
    add("e");
    marks.trim(store.first());
    EXPECT_FALSE(marks.has(0)) << "its record went";
    marks.toggle(1);
    EXPECT_EQ(marks.size(), 1u);
}

// ---- patterns

std::string passing(const Filter& filter, const std::vector<std::string>& texts)
{
    std::string out;
    for (const std::string& each : texts)
        if (filter.passes(text(each)))
            out += each + " ";
    return out;
}

TEST(FilterPatterns, EachMatchOneIncludeAndNoExclude)
{
    const std::vector<std::string> texts = {"a", "b", "ab", "abc", "ac"};
    EXPECT_EQ(passing({}, texts), "a b ab abc ac ");
    EXPECT_EQ(passing({.include = {Pattern("b"), Pattern("^ac")}}, texts), "b ab abc ac ");
    EXPECT_EQ(passing({.exclude = {Pattern("b$"), Pattern("ac")}}, texts), "a abc ");
    EXPECT_EQ(passing({.match = {Pattern("a"), Pattern("b")},
                       .include = {Pattern("^a")},
                       .exclude = {Pattern("c")}},
                      texts),
              "ab ");
    EXPECT_EQ(passing({.include = {Pattern("^.\\w$")}}, {"h\u00e9", "\u20acx", "x\u20ac"}),
              "h\u00e9 \u20acx ")
        << "characters are those of Unicode";
    EXPECT_EQ(passing({.include = {Pattern("b")}}, {"\xff b"}), "\xff b ") << "no UTF-8";
}

TEST(FilterPatterns, WhatIsNoExpressionIsSaidWithItsPlace)
{
    try
    {
        Pattern bad("ab(c");
        ADD_FAILURE() << "none that is no expression";
    }
    catch (const BadPattern& problem)
    {
        EXPECT_NE(std::string(problem.what()).find("at character 5"), std::string::npos);
    }
}

// Without limits each search would take longer than the age of the world.
TEST(FilterPatterns, OneThatWouldNeverEndIsGivenUpAndItsRecordsAreShown)
{
    const Record endless = text(std::string(200, 'a') + "!");
    const Filter filter{.include = {Pattern("^(a+)+$")}};
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(filter.passes(endless));
    EXPECT_TRUE(filter.include[0].is_off());
    EXPECT_NE(filter.given_up().find("switched off for 1000 records"), std::string::npos)
        << filter.given_up();
}

TEST(HighlightedText, HasEachPatternInItsColourAndNoOverlap)
{
    const auto places = [](const std::vector<Pattern>& patterns, std::string_view text)
    {
        std::string all;
        for (const Highlight& each : Highlights(patterns).in(text))
            all += std::to_string(each.colour) + ":" + std::to_string(each.span.start) + "-" +
                   std::to_string(each.span.end) + " ";
        return all;
    };
    EXPECT_EQ(places({Pattern("b+"), Pattern("[a-z]"), Pattern("$|x*")}, "abbc1"),
              "1:0-1 0:1-3 1:3-4 ");
    EXPECT_EQ(places({Pattern("bc|"), Pattern("[abcd]+")}, "xabcdx"), "1:1-2 0:2-4 1:4-5 ");
    EXPECT_EQ(places({Pattern("a")}, std::string(1'000'000, 'a')), "0:0-1000000 ");
}

TEST(HighlightedText, AColourEndsWithItsLine)
{
    Record two{.time = 1, .text = "one two\nthree"};
    const LineStyle style{.colour = true, .highlights = Highlights({Pattern("two\\nth")})};
    const auto lines = [&](const LineStyle& wanted)
    {
        std::string out;
        append_lines(out, two, wanted, {});
        return out;
    };
    EXPECT_EQ(lines(style), "one \x1b[30;103mtwo\x1b[0m\n\x1b[30;103mth\x1b[0mree\n");
    two.text = "\x1b[2J two"; // shown, but not obeyed
    EXPECT_EQ(lines({}), "\\x1b[2J two\n");
}

} // namespace

// Which records pass, what is highlighted, and patterns that would never end.
#include <chrono>

#include <gtest/gtest.h>

#include "filter.h"
#include "highlights.h"
#include "line_format.h"

namespace
{

using namespace trace;

Record record(const std::string& text, DWORD process = 7, const char* name = "editor")
{
    return {.time = 1,
            .process = process,
            .window = window_of(text).value_or(no_window),
            .name = name ? std::make_shared<const std::string>(name) : nullptr,
            .text = text};
}

std::string passing(const Filter& filter, const std::vector<std::string>& texts)
{
    std::string out;
    for (const std::string& text : texts)
        if (filter.passes(record(text)))
            out += text + " ";
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
}

TEST(FilterPatterns, CharactersAreThoseOfUnicode)
{
    EXPECT_EQ(passing({.include = {Pattern("^.\\w$")}}, {"h\u00e9", "\u20acx", "x\u20ac"}),
              "h\u00e9 \u20acx ");
    EXPECT_TRUE(Filter{.include = {Pattern("b")}}.passes(record("\xff b"))) << "no UTF-8";
}

TEST(FilterPatterns, WhatIsNoExpressionIsSaid)
{
    for (const char* const text : {"(open", "*", "[a"})
        EXPECT_THROW(Pattern{text}, BadPattern) << text;
    try
    {
        Pattern bad("ab(c");
        FAIL();
    }
    catch (const BadPattern& problem)
    {
        EXPECT_NE(std::string(problem.what()).find("at character 5"), std::string::npos)
            << problem.what();
    }
}

// Without limits each search takes longer than the world is old.
TEST(FilterPatterns, OneThatWouldNeverEndIsGivenUpAndItsRecordsAreShown)
{
    const std::string text(200, 'a');
    const Filter filter{.include = {Pattern("^(a+)+$")}};
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(filter.passes(record(text + "!")));
    EXPECT_TRUE(filter.include[0].is_off());
    EXPECT_NE(filter.given_up().find("switched off for 1000 records"), std::string::npos)
        << filter.given_up();

    const Filter excluding{.exclude = {Pattern("^(a+)+$"), Pattern("never")}};
    EXPECT_TRUE(excluding.passes(record(text + "!")));
    EXPECT_TRUE(Filter{.match = {Pattern("x")}}.given_up().empty());
}

TEST(FilterPatterns, RecursionIsLimitedToo)
{
    const Pattern nested("^(\\((?1)*\\))+$");
    const size_t depth = 100000;
    EXPECT_NO_FATAL_FAILURE(nested.in(std::string(depth, '(') + std::string(depth, ')')));
}

TEST(FilterWriter, ByIdOrNameAndWindow)
{
    const Filter by_id{.processes = {wanted_process("7")}};
    EXPECT_TRUE(by_id.passes(record("x", 7)));
    EXPECT_FALSE(by_id.passes(record("x", 8)));
    const Filter by_name{.processes = {wanted_process("viewer"), wanted_process("editor")}};
    EXPECT_TRUE(by_name.passes(record("x", 8, "editor")));
    EXPECT_FALSE(by_name.passes(record("x", 8, "editor2")));
    EXPECT_FALSE(by_name.passes(record("x", 8, nullptr)));
    const Filter by_window{.window = -3};
    EXPECT_TRUE(by_window.passes(record("|wndid:-3| x")));
    EXPECT_FALSE(by_window.passes(record("x")));
}

TEST(HighlightedText, HasEachPatternInItsColourAndNoOverlap)
{
    const Highlights highlights({Pattern("b+"), Pattern("[a-z]"), Pattern("$|x*")});
    const std::vector<Highlight> places = highlights.in("abbc1");
    ASSERT_EQ(places.size(), 3u);
    EXPECT_EQ(places[0].colour, 1u);
    EXPECT_EQ(places[1].colour, 0u);
    EXPECT_EQ(places[1].span.start, 1u);
    EXPECT_EQ(places[1].span.end, 3u);
    EXPECT_EQ(places[2].span.start, 3u);
    EXPECT_EQ(highlights.colour_of("abb"), 0u);
    EXPECT_EQ(Highlights().colour_of("abb"), std::nullopt);
}

TEST(HighlightedText, AColourEndsWithItsLine)
{
    Record two = record("one two\nthree");
    two.process = 0;
    const LineStyle style{.colour = true, .highlights = Highlights({Pattern("two\\nth")})};
    EXPECT_EQ(as_lines(two, style, {}), "one \x1b[30;103mtwo\x1b[0m\n\x1b[30;103mth\x1b[0mree\n");
    two.text = "\x1b[2J two"; // shown, not obeyed
    EXPECT_EQ(as_lines(two, {}, {}), "\\x1b[2J two\n");
}

} // namespace

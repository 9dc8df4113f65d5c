// Which records pass, what is highlighted, and patterns that would never end.
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

// Without limits each search takes longer than the world is old.
TEST(FilterPatterns, OneThatWouldNeverEndIsGivenUpAndItsRecordsAreShown)
{
    const Record endless = record(std::string(200, 'a') + "!");
    const Filter filter{.include = {Pattern("^(a+)+$")}};
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(filter.passes(endless));
    EXPECT_TRUE(filter.include[0].is_off());
    EXPECT_NE(filter.given_up().find("switched off for 1000 records"), std::string::npos)
        << filter.given_up();

    const Filter excluding{.exclude = {Pattern("^(a+)+$"), Pattern("never")}};
    EXPECT_TRUE(excluding.passes(endless));
    EXPECT_EQ(Filter{.match = {Pattern("x")}}.given_up(), "");

    const Pattern nested("^(\\((?1)*\\))+$"); // recursion is limited too
    EXPECT_NO_FATAL_FAILURE(nested.in(std::string(100000, '(') + std::string(100000, ')')));
}

TEST(FilterWriter, ByIdOrNameAndWindow)
{
    const Filter by_id{.processes = {wanted_process("7")}};
    const Filter by_name{.processes = {wanted_process("viewer"), wanted_process("editor")}};
    const Filter by_window{.window = -3};
    const auto passes = [](const Filter& filter, const std::vector<Record>& records)
    {
        std::string out;
        for (const Record& each : records)
            out += filter.passes(each) ? '+' : '-';
        return out;
    };
    EXPECT_EQ(passes(by_id, {record("x", 7), record("x", 8)}), "+-");
    EXPECT_EQ(passes(by_name, {record("x", 8, "editor"), record("x", 8, "editor2"),
                               record("x", 8, nullptr)}),
              "+--");
    EXPECT_EQ(passes(by_window, {record("|wndid:-3| x"), record("x")}), "+-");
}

TEST(HighlightedText, HasEachPatternInItsColourAndNoOverlap)
{
    const Highlights highlights({Pattern("b+"), Pattern("[a-z]"), Pattern("$|x*")});
    std::string places;
    for (const Highlight& each : highlights.in("abbc1"))
        places += std::to_string(each.colour) + ":" + std::to_string(each.span.start) + "-" +
                  std::to_string(each.span.end) + " ";
    EXPECT_EQ(places, "1:0-1 0:1-3 1:3-4 ");
    EXPECT_EQ(highlights.colour_of("abb"), 0u);
    EXPECT_EQ(Highlights().colour_of("abb"), std::nullopt);
}

TEST(HighlightedText, AColourEndsWithItsLine)
{
    Record two = record("one two\nthree", 0);
    const LineStyle style{.colour = true, .highlights = Highlights({Pattern("two\\nth")})};
    EXPECT_EQ(as_lines(two, style, {}), "one \x1b[30;103mtwo\x1b[0m\n\x1b[30;103mth\x1b[0mree\n");
    two.text = "\x1b[2J two"; // shown, not obeyed
    EXPECT_EQ(as_lines(two, {}, {}), "\\x1b[2J two\n");
}

} // namespace

// The rows of a view in which an expression is found: hits. The text is searched in the form in
// which it is shown, so that each hit can be seen.
//
// The rows are examined step by step, outward from one of them, then new rows as they are added. A
// search starts again by itself when its view does.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "outward_walk.h"
#include "pattern.h"
#include "record_columns.h"
#include "row_set.h"
#include "view.h"

namespace trace
{

class Search
{
public:
    // The view outlives the search.
    explicit Search(const View& view);
    ~Search();
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    // Sets what to search for, from the record with the number `anchor` outward; without an anchor,
    // from the end. Without a pattern nothing is searched.
    void set(std::optional<Pattern> pattern, std::optional<uint64_t> anchor = std::nullopt);
    const std::optional<Pattern>& pattern() const { return m_pattern; }

    // How the view's rows show their texts. If that changes, the search starts again.
    void set_form(TextForm form);

    // Examines at most `most` records, or for at most `longest`; true if there are more. To be
    // called after the view's own steps.
    bool advance(size_t most);
    bool advance_for(std::chrono::steady_clock::duration longest);
    double progress() const; // part of the view's rows, from 0 to 1

    // The hits so far, by record numbers.
    size_t count() const { return m_hits.size(); }
    // Records that may be hits: the pattern has given up on them.
    size_t unknown() const { return m_unknown.size(); }
    bool has(uint64_t number) const { return m_hits.has(number); }
    // The next hit after the record, or the one before it; after the last one comes the first.
    // Without a number: the first, or the last. Nothing if there is none.
    std::optional<uint64_t> next(std::optional<uint64_t> from) const;
    std::optional<uint64_t> previous(std::optional<uint64_t> from) const;
    // The number of this hit among all hits, from 1; 0 if it is none.
    size_t index_of(uint64_t number) const;

    // The marks beside a scroll bar: the number of hits in each of `parts` equal parts of the
    // view's rows.
    std::vector<size_t> marks(size_t parts) const;

private:
    void look_at(uint64_t number);
    void follow_view();
    void start_over(uint64_t anchor);
    void count_use();

    const View& m_view;
    std::optional<Pattern> m_pattern;
    TextForm m_form = TextForm::plain;
    std::string m_storage; // for text_of
    RowSet m_hits;
    RowSet m_unknown;
    OutwardWalk m_walk;
    uint64_t m_generation;
    size_t m_use = 0; // bytes that the store counts
};

} // namespace trace

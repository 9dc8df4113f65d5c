// A regular expression over UTF-8, matched within limits: one that a text sends into an endless
// search gives up, says so and is switched off when that happens too often.
//
// On Linux the expressions are those of PCRE2, by which the limits are set. The Windows build has
// the C++ library's (ECMAScript), which knows no limits and works on bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace trace
{

// Says what is wrong with an expression, and where.
class BadPattern : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

enum class Found
{
    no,
    yes,
    gave_up, // neither is known
};

struct Span
{
    size_t start = 0;
    size_t end = 0;
};

// How an expression is searched for; what stands behind a Pattern.
class PatternEngine
{
public:
    PatternEngine() = default;
    virtual ~PatternEngine() = default;
    PatternEngine(const PatternEngine&) = delete;
    PatternEngine& operator=(const PatternEngine&) = delete;
    virtual Found find(std::string_view text, size_t from, Span& span) = 0;
};

enum class Case
{
    matters,
    ignored,
};

// BadPattern if the text is no expression. One source file for each library.
std::unique_ptr<PatternEngine> make_pattern_engine(const std::string& text, Case letters);

// The expression that finds just this text.
std::string literal(std::string_view text);

// Where people type several expressions in one line, this divides them.
inline constexpr std::string_view pattern_divider = ";;";
// The same expression without a divider in it.
std::string without_divider(std::string text);

// Copies share the compiled expression and its count. Not for several threads at once.
class Pattern
{
public:
    // BadPattern if the text is no expression.
    explicit Pattern(const std::string& text, Case letters = Case::matters);

    Found in(std::string_view text) const;

    // The first place at or behind from.
    Found find(std::string_view text, size_t from, Span& span) const;

    const std::string& text() const;
    uint64_t given_up() const; // texts of which it is not known whether it is in them
    bool is_off() const;       // it has given up too often and tries no more

private:
    struct Shared;
    std::shared_ptr<Shared> m_shared;
};

} // namespace trace

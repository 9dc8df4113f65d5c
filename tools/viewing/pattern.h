// A regular expression for UTF-8, matched within limits: if a text makes the search too long, the
// expression gives up and reports that; if that happens too often, it is switched off.
//
// On Linux expressions are those of PCRE2, which enforces the limits. The Windows build has those
// of the C++ library (ECMAScript), which has no limits and works on bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace trace
{

// what() describes the error in an expression, and its place.
class BadPattern : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

enum class Found
{
    no,
    yes,
    gave_up, // it is unknown whether the text matches
};

struct Span
{
    size_t start = 0;
    size_t end = 0;
};

// How an expression is searched for; Pattern uses it.
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

// Throws BadPattern if the text is no valid expression. One source file for each library.
std::unique_ptr<PatternEngine> make_pattern_engine(const std::string& text, Case letters);

// The expression that finds exactly this text.
std::string literal(std::string_view text);

// Separates several expressions that people type in one line.
inline constexpr std::string_view pattern_divider = ";;";
// The same expression without a divider in it.
std::string without_divider(std::string text);

// Copies share the compiled expression and its count. Not for several threads at once.
class Pattern
{
public:
    // Throws BadPattern if the text is no valid expression.
    explicit Pattern(const std::string& text, Case letters = Case::matters);

    Found in(std::string_view text) const;

    // Finds the first place at `from` or after it.
    Found find(std::string_view text, size_t from, Span& span) const;

    const std::string& text() const;
    uint64_t given_up() const; // number of texts for which the search gave up
    bool is_off() const;       // it has given up too often and is not tried any more

private:
    struct Shared;
    std::shared_ptr<Shared> m_shared;
};

} // namespace trace

#include "pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace trace
{

namespace
{

// Steps of a search, some milliseconds of work. A good expression needs a few for each character of
// a text, and a text of the channel has 4,000.
constexpr uint32_t most_steps = 200'000;
constexpr uint32_t most_depth = 20'000;  // of nested groups, where there is no JIT
constexpr uint32_t most_heap = 16 << 10; // KiB, likewise

constexpr size_t least_stack = 32 << 10; // bytes, of the JIT
constexpr size_t most_stack = 1 << 20;

template <auto release> struct Freer
{
    template <class T> void operator()(T* object) const { release(object); }
};
using Code = std::unique_ptr<pcre2_code, Freer<pcre2_code_free>>;
using MatchData = std::unique_ptr<pcre2_match_data, Freer<pcre2_match_data_free>>;
using MatchContext = std::unique_ptr<pcre2_match_context, Freer<pcre2_match_context_free>>;
using JitStack = std::unique_ptr<pcre2_jit_stack, Freer<pcre2_jit_stack_free>>;

std::string message_of(int error)
{
    PCRE2_UCHAR text[256];
    const int length = pcre2_get_error_message(error, text, sizeof text);
    return length < 0
               ? "error " + std::to_string(error)
               : std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(length));
}

class Pcre2Engine : public PatternEngine
{
public:
    Pcre2Engine(const std::string& text, Case letters)
    {
        int error = 0;
        PCRE2_SIZE at = 0;
        m_code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                                   PCRE2_UTF | PCRE2_UCP | PCRE2_MATCH_INVALID_UTF |
                                       (letters == Case::ignored ? PCRE2_CASELESS : 0U),
                                   &error, &at, nullptr));
        if (!m_code)
            throw BadPattern(message_of(error) + ", at character " + std::to_string(at + 1));
        m_data.reset(pcre2_match_data_create_from_pattern(m_code.get(), nullptr));
        m_context.reset(pcre2_match_context_create(nullptr));
        if (!m_data || !m_context)
            throw std::bad_alloc();
        pcre2_set_match_limit(m_context.get(), most_steps);
        pcre2_set_depth_limit(m_context.get(), most_depth);
        pcre2_set_heap_limit(m_context.get(), most_heap);
        // Without a JIT, or if the system forbids making code, the interpreter does the work.
        if (pcre2_jit_compile(m_code.get(), PCRE2_JIT_COMPLETE) == 0)
        {
            m_stack.reset(pcre2_jit_stack_create(least_stack, most_stack, nullptr));
            pcre2_jit_stack_assign(m_context.get(), nullptr, m_stack.get());
        }
    }

    Found find(std::string_view text, size_t from, Span& span) override
    {
        const int count = pcre2_match(m_code.get(), reinterpret_cast<PCRE2_SPTR>(text.data()),
                                      text.size(), from, 0, m_data.get(), m_context.get());
        if (count == PCRE2_ERROR_NOMATCH)
            return Found::no;
        if (count < 0)
            return Found::gave_up;
        const PCRE2_SIZE* const ends = pcre2_get_ovector_pointer(m_data.get());
        span = {ends[0], ends[1]};
        return Found::yes;
    }

private:
    Code m_code;
    MatchData m_data;
    JitStack m_stack; // declared first, because it must outlive the context that uses it
    MatchContext m_context;
};

} // namespace

std::unique_ptr<PatternEngine> make_pattern_engine(const std::string& text, Case letters)
{
    return std::make_unique<Pcre2Engine>(text, letters);
}

} // namespace trace

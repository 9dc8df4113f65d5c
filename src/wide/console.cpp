// std::wcout, wcerr, wclog and wcin: UTF-8 on the C library's streams, without a buffer of their
// own, so that narrow and wide output stay in order. Each program and library has its own four.
#include <istream>
#include <new>
#include <ostream>
#include <streambuf>

#include "streams.h"

namespace plinth_wide
{

namespace
{

class Console : public std::wstreambuf
{
public:
    explicit Console(std::FILE* stream) : m_stream(stream) {}

protected:
    int_type overflow(int_type unit) override
    {
        if (unit == WEOF)
            return traits_type::not_eof(unit);
        const auto one = static_cast<wchar_t>(unit);
        return write_units(m_stream, &one, 1) == 1 ? unit : WEOF;
    }
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override
    {
        return static_cast<std::streamsize>(
            write_units(m_stream, text, static_cast<std::size_t>(count)));
    }
    int sync() override { return std::fflush(m_stream); }

    // A unit that has only been looked at is put back, so that other readers of the stream get it
    // too.
    int_type underflow() override
    {
        if (m_next != WEOF)
            return m_next;
        const int_type unit = read_unit(m_stream);
        if (unit != WEOF && unread_unit(m_stream, unit) == WEOF)
            m_next = unit;
        return unit;
    }
    int_type uflow() override
    {
        m_last = m_next != WEOF ? m_next : read_unit(m_stream);
        m_next = WEOF;
        return m_last;
    }
    int_type pbackfail(int_type unit) override
    {
        if (m_next != WEOF || (unit == WEOF && m_last == WEOF))
            return WEOF;
        m_next = unit == WEOF ? m_last : unit;
        m_last = WEOF;
        return m_next;
    }

private:
    std::FILE* const m_stream;
    int_type m_next = WEOF;
    int_type m_last = WEOF;
};

} // namespace

// The storage has the symbol of the library's object. It is never destroyed.
#define PLINTH_CONSOLE(type, name, symbol) alignas(type) char name[sizeof(type)] __asm__(symbol);
PLINTH_CONSOLE(std::wistream, wide_in, "_ZSt4wcin")
PLINTH_CONSOLE(std::wostream, wide_out, "_ZSt5wcout")
PLINTH_CONSOLE(std::wostream, wide_error, "_ZSt5wcerr")
PLINTH_CONSOLE(std::wostream, wide_log, "_ZSt5wclog")

namespace
{

// Runs before the constructors of all objects, because they may write.
__attribute__((constructor(101))) void make_consoles()
{
    auto* const out = new (wide_out) std::wostream(new Console(stdout));
    auto* const error = new (wide_error) std::wostream(new Console(stderr));
    new (wide_log) std::wostream(error->rdbuf());
    auto* const in = new (wide_in) std::wistream(new Console(stdin));
    in->tie(out);
    error->setf(std::ios_base::unitbuf);
    error->tie(out);
}

} // namespace

} // namespace plinth_wide

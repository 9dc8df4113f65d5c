// std::wistream and std::getline, in a file of their own because the library has specialised some
// of their functions.
#include <istream>
#include <limits>
#include <streambuf>
#include <string>

#include <bits/cxxabi_forced.h>
#include <cxxabi.h>

namespace std
{

namespace
{

// Takes units up to and including the last one, at most the given number. put receives each of the
// others; if it returns false, that unit is left. Returns how many were taken. As in all functions
// that read, an exception of the buffer makes the stream bad, and is passed on only if the stream
// is set to throw.
template <class Put> streamsize take(wistream& in, streamsize most, wint_t last, Put put)
{
    streamsize count = 0;
    try
    {
        for (wstreambuf* const buffer = in.rdbuf(); count < most; ++count)
        {
            const wint_t unit = buffer->sgetc();
            if (unit == WEOF)
                in._M_setstate(ios_base::eofbit);
            if (unit == WEOF || (unit != last && !put(static_cast<wchar_t>(unit))))
                break;
            buffer->sbumpc();
            if (unit == last)
                return count + 1;
        }
    }
    catch (__cxxabiv1::__forced_unwind&)
    {
        in._M_setstate(ios_base::badbit);
        throw;
    }
    catch (...)
    {
        in._M_setstate(ios_base::badbit);
    }
    return count;
}

// Throws if the stream is set to throw, also for states that were set while reading.
void report(wistream& in, bool failed)
{
    in.setstate(failed ? ios_base::failbit : ios_base::goodbit);
}

} // namespace

template <> wistream& getline(wistream& in, wstring& text, wchar_t last)
{
    bool failed = true;
    if (const wistream::sentry ready(in, true); ready)
    {
        text.clear();
        bool full = false;
        const streamsize taken = take(in, numeric_limits<streamsize>::max(), last,
                                      [&](wchar_t unit)
                                      {
                                          full = text.size() == text.max_size();
                                          if (!full)
                                              text.push_back(unit);
                                          return !full;
                                      });
        failed = taken == 0 || full;
    }
    report(in, failed);
    return in;
}

template <> wistream& wistream::getline(wchar_t* to, streamsize size, wchar_t last)
{
    _M_gcount = 0;
    streamsize stored = 0;
    bool full = false;
    if (const sentry ready(*this, true); ready)
        _M_gcount = take(*this, numeric_limits<streamsize>::max(), last,
                         [&](wchar_t unit)
                         {
                             full = stored + 1 >= size;
                             if (!full)
                                 to[stored++] = unit;
                             return !full;
                         });
    if (size > 0)
        to[stored] = L'\0';
    report(*this, _M_gcount == 0 || full);
    return *this;
}

template <> wistream& wistream::ignore(streamsize most, wint_t last)
{
    _M_gcount = 0;
    if (const sentry ready(*this, true); ready && most > 0)
        _M_gcount = take(*this, most, last, [](wchar_t) { return true; });
    report(*this, false);
    return *this;
}

template <> wistream& wistream::ignore(streamsize most)
{
    return ignore(most, WEOF - 1); // matches no unit
}

template class basic_istream<wchar_t>;
template wistream& ws(wistream&);
template wistream& operator>>(wistream&, wchar_t&);
template void __istream_extract(wistream&, wchar_t*, streamsize);
template wistream& wistream::_M_extract(unsigned short&);
template wistream& wistream::_M_extract(unsigned int&);
template wistream& wistream::_M_extract(long&);
template wistream& wistream::_M_extract(unsigned long&);
template wistream& wistream::_M_extract(bool&);
template wistream& wistream::_M_extract(long long&);
template wistream& wistream::_M_extract(unsigned long long&);
template wistream& wistream::_M_extract(float&);
template wistream& wistream::_M_extract(double&);
template wistream& wistream::_M_extract(long double&);
template wistream& wistream::_M_extract(void*&);

} // namespace std

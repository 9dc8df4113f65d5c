// The C++ library's templates over wide text, compiled for 16 bits. Its headers declare them as
// instantiated elsewhere: that is here.
#include <complex>
#include <fstream>
#include <iomanip>
#include <istream>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>

#include <ext/stdio_sync_filebuf.h>

namespace std
{

// The library has a faster specialisation; this is the general form.
template <> streamsize __copy_streambufs_eof(wstreambuf* from, wstreambuf* to, bool& ended)
{
    streamsize count = 0;
    ended = true;
    for (wint_t unit = from->sgetc(); unit != WEOF; unit = from->snextc(), ++count)
        if (to->sputc(static_cast<wchar_t>(unit)) == WEOF)
        {
            ended = false;
            break;
        }
    return count;
}

template class allocator<wchar_t>;
template class basic_string<wchar_t>;
template wistream& operator>>(wistream&, wstring&);
template wostream& operator<<(wostream&, const wstring&);
template wistream& getline(wistream&, wstring&);
template wstring operator+(const wchar_t*, const wstring&);
template wstring operator+(wchar_t, const wstring&);
template wstring operator+(const wstring&, const wstring&);

template class basic_streambuf<wchar_t>;
template streamsize __copy_streambufs(wstreambuf*, wstreambuf*);
template class basic_ios<wchar_t>;

template class basic_ostream<wchar_t>;
template wostream& endl(wostream&);
template wostream& ends(wostream&);
template wostream& flush(wostream&);
template wostream& operator<<(wostream&, wchar_t);
template wostream& operator<<(wostream&, char);
template wostream& operator<<(wostream&, const wchar_t*);
template wostream& operator<<(wostream&, const char*);
template wostream& __ostream_insert(wostream&, const wchar_t*, streamsize);
template wostream& wostream::_M_insert(long);
template wostream& wostream::_M_insert(unsigned long);
template wostream& wostream::_M_insert(bool);
template wostream& wostream::_M_insert(long long);
template wostream& wostream::_M_insert(unsigned long long);
template wostream& wostream::_M_insert(double);
template wostream& wostream::_M_insert(long double);
template wostream& wostream::_M_insert(const void*);

#define PLINTH_MANIPULATOR(type)                                                                   \
    template wostream& operator<<(wostream&, type);                                                \
    template wistream& operator>>(wistream&, type);
PLINTH_MANIPULATOR(_Setfill<wchar_t>)
PLINTH_MANIPULATOR(_Setiosflags)
PLINTH_MANIPULATOR(_Resetiosflags)
PLINTH_MANIPULATOR(_Setbase)
PLINTH_MANIPULATOR(_Setprecision)
PLINTH_MANIPULATOR(_Setw)
#define PLINTH_COMPLEX(type)                                                                       \
    template wostream& operator<<(wostream&, const complex<type>&);                                \
    template wistream& operator>>(wistream&, complex<type>&);
PLINTH_COMPLEX(float)
PLINTH_COMPLEX(double)
PLINTH_COMPLEX(long double)

template class basic_iostream<wchar_t>;
template class basic_stringbuf<wchar_t>;
template class basic_istringstream<wchar_t>;
template class basic_ostringstream<wchar_t>;
template class basic_stringstream<wchar_t>;
template class basic_filebuf<wchar_t>;
template class basic_ifstream<wchar_t>;
template class basic_ofstream<wchar_t>;
template class basic_fstream<wchar_t>;

} // namespace std

template class __gnu_cxx::stdio_sync_filebuf<wchar_t>;

// Compiled as C++17. In that standard programs take the members of std::wstring and the string
// streams from the library: these are they. A program in C++20 instantiates its own strings, and
// some members of the streams have other names there (instances.cpp).
#include <sstream>
#include <string>

namespace std
{

template class basic_string<wchar_t>;
template wistream& operator>>(wistream&, wstring&);
template wostream& operator<<(wostream&, const wstring&);
template wistream& getline(wistream&, wstring&);
template wstring operator+(const wchar_t*, const wstring&);
template wstring operator+(wchar_t, const wstring&);
template wstring operator+(const wstring&, const wstring&);

template wistream& operator>>(wistream&, wchar_t*);
template class basic_stringbuf<wchar_t>;
template class basic_istringstream<wchar_t>;
template class basic_ostringstream<wchar_t>;
template class basic_stringstream<wchar_t>;

} // namespace std

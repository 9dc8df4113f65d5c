// Wide streams over strings and files. A program of its own tests the console's.
#include "idioms.h"

#include <algorithm>
#include <codecvt>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <locale>
#include <sstream>
#include <streambuf>
#include <vector>

namespace
{

// A free name for a file, which the destructor removes.
class File
{
public:
    File()
        : m_path(std::filesystem::temp_directory_path() /
                 ("plinth-idioms-" + std::to_string(++m_count)))
    {
        m_path += std::to_string(reinterpret_cast<std::uintptr_t>(this));
    }
    ~File() { std::filesystem::remove(m_path); }
    const std::filesystem::path& path() const { return m_path; }
    void write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }
    std::string bytes() const
    {
        std::ifstream in(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    static inline int m_count = 0;
    std::filesystem::path m_path;
};

struct Point
{
    int x, y;
};
std::wostream& operator<<(std::wostream& out, const Point& point)
{
    return out << L'(' << point.x << L", " << point.y << L')';
}

class Counter : public std::wstreambuf
{
public:
    int count = 0;

protected:
    int_type overflow(int_type c) override { return ++count, traits_type::not_eof(c); }
};

const Idiom table[] = {
    {"wostringstream",
     []
     {
         std::wostringstream out;
         out << L"n=" << 5 << L';' << 1.5 << L' ' << std::wstring(L"text") << true << "narrow"
             << 'c' << 7UL << -3LL << static_cast<short>(2);
         return is(out.str(), L"n=5;1.5 text1narrowc7-32");
     }},
    {"wistringstream",
     []
     {
         std::wistringstream in(L"12 3.25 word x -7 0x1f");
         int a = 0, d = 0, e = 0;
         double b = 0;
         std::wstring word;
         wchar_t c = 0;
         in >> a >> b >> word >> c >> d >> std::hex >> e;
         return a == 12 && b == 3.25 && is(word, L"word") && c == L'x' && d == -7 && e == 31 &&
                in.eof();
     }},
    {"wstringstream both ways",
     []
     {
         std::wstringstream both;
         both << 42 << L' ' << L"answer";
         int number = 0;
         std::wstring word;
         both >> number >> word;
         both.clear();
         both.str(L"new");
         return number == 42 && is(word, L"answer") && is(both.str(), L"new");
     }},
    {"extraction that fails",
     []
     {
         std::wistringstream in(L"word");
         int number = 7;
         in >> number;
         const bool failed = in.fail() && !in.bad();
         in.clear();
         std::wstring word;
         return failed && in >> word && is(word, L"word");
     }},
    {"getline",
     []
     {
         std::wistringstream in(L"one\n\nthree \u20ac");
         std::vector<std::wstring> lines;
         for (std::wstring line; std::getline(in, line);)
             lines.push_back(line);
         return lines.size() == 3 && lines[1].empty() && is(lines[2], L"three \u20ac");
     }},
    {"getline by another character",
     []
     {
         std::wistringstream in(L"a;b;;c;");
         int count = 0;
         for (std::wstring part; std::getline(in, part, L';');)
             ++count;
         return count == 4;
     }},
    {"getline into a buffer",
     []
     {
         std::wistringstream in(L"abc\nlonger than that");
         wchar_t line[8];
         const bool first = in.getline(line, 8) && is(line, L"abc") && in.gcount() == 4;
         return first && !in.getline(line, 8) && is(line, L"longer ") && in.fail();
     }},
    {"ignore, get, peek, unget",
     []
     {
         std::wistringstream in(L"skip:xyz");
         in.ignore(100, L':');
         const bool skipped = in.gcount() == 5 && in.peek() == L'x' && in.get() == L'x';
         in.unget();
         in.ignore(2);
         return skipped && in.get() == L'z' && in.get() == WEOF;
     }},
    {"read, seek, tell",
     []
     {
         std::wistringstream in(L"0123456789");
         wchar_t part[4] = {};
         in.seekg(3).read(part, 3);
         return is(part, L"345") && in.tellg() == 6 && in.gcount() == 3;
     }},
    {"manipulators",
     []
     {
         std::wostringstream out;
         out << std::setw(6) << std::setfill(L'*') << 42 << L'|' << std::left << std::setw(4)
             << L"ab" << L'|' << std::hex << std::showbase << std::uppercase << 255 << L'|'
             << std::fixed << std::setprecision(2) << 3.14159 << L'|' << std::boolalpha << true;
         return is(out.str(), L"****42|ab**|0XFF|3.14|true");
     }},
    {"quoted, endl, ends",
     []
     {
         std::wostringstream out;
         out << std::quoted(std::wstring(L"a \"b\"")) << std::endl << std::ends << std::flush;
         return is(out.str(), L"\"a \\\"b\\\"\"\n\0");
     }},
    {"numbers at their borders",
     []
     {
         std::wostringstream out;
         out << 0 << L' ' << -2147483647 - 1 << L' ' << 18'446'744'073'709'551'615ULL << L' '
             << 1e-7 << L' ' << 1e100 << L' ' << 2.5L << L' ' << 0.1f;
         return is(out.str(), L"0 -2147483648 18446744073709551615 1e-07 1e+100 2.5 0.1");
     }},
    {"own operators and iterators",
     []
     {
         std::wostringstream out;
         out << Point{1, -2};
         const std::vector<std::wstring> words{L"a", L"b"};
         std::copy(words.begin(), words.end(),
                   std::ostream_iterator<std::wstring, wchar_t>(out, L","));
         std::wistringstream in(L"3 1 2");
         const std::vector<int> all{std::istream_iterator<int, wchar_t>(in), {}};
         return is(out.str(), L"(1, -2)a,b,") && all.size() == 3 && all[0] == 3;
     }},
    {"own buffers, and rdbuf",
     []
     {
         Counter counter;
         std::wostream out(&counter);
         std::wstringstream from(L"12345");
         out << L"abc" << from.rdbuf();
         return counter.count == 8;
     }},
    {"a long text",
     []
     {
         std::wostringstream out;
         for (int i = 0; i < 100'000; ++i)
             out << L"0123456789";
         return out.str().size() == 1'000'000;
     }},
    {"wofstream writes UTF-8",
     []
     {
         const File file;
         std::wofstream(file.path()) << L"h\u00e9 \u20ac \U0001F600" << 7 << std::endl;
         return file.bytes() == "h\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"
                                "7\n";
     }},
    {"wifstream reads UTF-8",
     []
     {
         const File file;
         file.write("h\xc3\xa9 \xf0\x9f\x98\x80 12\nlast");
         std::wifstream in(file.path());
         std::wstring first, second, line, last;
         int number = 0;
         in >> first >> second >> number;
         std::getline(in, line);
         std::getline(in, last);
         return is(first, L"h\u00e9") && is(second, L"\U0001F600") && number == 12 &&
                is(last, L"last");
     }},
    {"large files, with characters across all blocks",
     []
     {
         for (const wchar_t* const lead : {L"", L"x", L"xy", L"xyz"})
         {
             const File file;
             std::wstring text(lead);
             for (int i = 0; i < 20'000; ++i)
                 text += i % 3 ? L"\U0001F600" : L"\u20ac";
             std::wofstream(file.path()) << text;
             std::wifstream in(file.path());
             const std::wstring back{std::istreambuf_iterator<wchar_t>(in), {}};
             if (back != text)
                 return false;
         }
         return true;
     }},
    {"files with bad bytes",
     []
     {
         const File file;
         file.write("a\xff"
                    "b c\xe2\x82");
         std::wifstream in(file.path());
         std::wstring text, cut;
         in >> text;
         const bool replaced = is(text, L"a\ufffdb");
         in >> cut;
         return replaced && in.bad(); // a file that ends inside a character
     }},
    {"files with half a character",
     []
     {
         const File file;
         std::wofstream(file.path()) << L"a\xd83d" << L"z\xde00" << L"\xd83d";
         return file.bytes() == "a\xef\xbf\xbdz\xef\xbf\xbd\xef\xbf\xbd";
     }},
    {"a file imbued with codecvt_utf8",
     []
     {
         const File file;
         std::wofstream out(file.path());
         out.imbue(std::locale(out.getloc(), new std::codecvt_utf8_utf16<wchar_t>));
         out << L"\u20ac";
         out.close();
         return file.bytes() == "\xe2\x82\xac";
     }},
    {"a file imbued with codecvt_utf16",
     []
     {
         const File file;
         constexpr auto mode =
             static_cast<std::codecvt_mode>(std::little_endian | std::generate_header);
         std::wofstream out(file.path(), std::ios::binary);
         out.imbue(std::locale(out.getloc(), new std::codecvt_utf16<wchar_t, 0x10ffff, mode>));
         out << L"ab";
         out.close();
         std::wifstream in(file.path(), std::ios::binary);
         in.imbue(std::locale(in.getloc(),
                              new std::codecvt_utf16<wchar_t, 0x10ffff, std::consume_header>));
         std::wstring back;
         in >> back;
         return file.bytes() == std::string("\xff\xfe"
                                            "a\0b\0",
                                            6) &&
                is(back, L"ab");
     }},
    {"wfstream, append, and a missing file",
     []
     {
         const File file;
         std::wofstream(file.path()) << L"one";
         std::wofstream(file.path(), std::ios::app) << L"two";
         std::wfstream both(file.path(), std::ios::in | std::ios::out);
         std::wstring text;
         both >> text;
         return is(text, L"onetwo") && !std::wifstream(file.path() / L"none").is_open();
     }},
    {"exceptions of streams",
     []
     {
         std::wistringstream in(L"x");
         in.exceptions(std::ios::failbit);
         try
         {
             int number;
             in >> number;
         }
         catch (const std::ios::failure&)
         {
             return true;
         }
         return false;
     }},
#if __cplusplus >= 202002L
    {"view of a stream's text",
     []
     {
         std::wostringstream out;
         out << L"seen";
         return out.view() == L"seen" && is(std::move(out).str(), L"seen");
     }},
#endif
};

} // namespace

Idioms stream_idioms()
{
    return {table, std::size(table)};
}

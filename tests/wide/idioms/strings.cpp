// std::wstring and related types.
#include "idioms.h"

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

using namespace std::literals;

namespace
{

bool each_size(bool (*holds)(const std::wstring& text))
{
    return std::all_of(std::begin(border_sizes), std::end(border_sizes),
                       [=](std::size_t size) { return holds(counted(size)); });
}

struct Person
{
    std::wstring name;
    wchar_t initial;
};

const Idiom table[] = {
    {"construct from a literal", [] { return is(std::wstring(L"h\u00e9llo"), L"h\u00e9llo"); }},
    {"construct from a pointer",
     [] {
         return each_size([](const std::wstring& text)
                          { return std::wstring(text.c_str()) == text; });
     }},
    {"construct from a pointer and a count", [] { return is(std::wstring(L"abcdef", 3), L"abc"); }},
    {"construct from a count", [] { return is(std::wstring(9, L'x'), L"xxxxxxxxx"); }},
    {"construct from iterators",
     []
     {
         const std::string narrow = "narrow text";
         return is(std::wstring(narrow.begin(), narrow.end()), L"narrow text");
     }},
    {"copy and move",
     []
     {
         return each_size(
             [](const std::wstring& text)
             {
                 std::wstring copy = text;
                 const std::wstring moved = std::move(copy);
                 copy = moved;
                 return copy == text && moved.size() == text.size();
             });
     }},
    {"embedded zeros",
     []
     {
         const std::wstring text(L"a\0b\0", 4);
         return text.size() == 4 && (text + L"c").find(L'c') == 4 && text != L"a";
     }},
    {"concatenate",
     []
     {
         const std::wstring drive = L"C:";
         return is(drive + L"\\" + std::wstring(L"Users") + L'\\' + L"someone with a long name",
                   L"C:\\Users\\someone with a long name");
     }},
    {"append",
     []
     {
         std::wstring text;
         for (int i = 0; i < 5; ++i)
             (text += L"ab").append(2, L'-').append(L"cde", 2).push_back(L'.');
         return is(text, L"ab--cd.ab--cd.ab--cd.ab--cd.ab--cd.");
     }},
    {"insert, erase, replace",
     []
     {
         std::wstring text = L"one three";
         text.insert(4, L"two ").erase(0, 4).replace(4, 5, L"3 and more of them");
         return is(text, L"two 3 and more of them");
     }},
    {"assign and resize",
     []
     {
         std::wstring text;
         text.assign(L"abc").resize(20, L'z');
         return is(text, L"abczzzzzzzzzzzzzzzzz") && (text.resize(1), is(text, L"a"));
     }},
    {"length of each size",
     []
     {
         return each_size(
             [](const std::wstring& text)
             { return std::char_traits<wchar_t>::length(text.c_str()) == text.size(); });
     }},
    {"find of a text", []
     { return L"one two one"s.find(L"one", 1) == 8 && L"one"s.find(L"x") == std::wstring::npos; }},
    {"find of a character", [] { return L"a.b.c"s.find(L'.') == 1 && L"a.b.c"s.rfind(L'.') == 3; }},
    {"find at the far end",
     []
     {
         std::wstring text = counted(std::size_t{1} << 20);
         text += L'!';
         return text.find(L'!') == text.size() - 1 && text.rfind(L"ab") < text.size();
     }},
    {"find of sets",
     []
     {
         const std::wstring path = L"C:\\one\\two/three.txt";
         return path.find_last_of(L"\\/") == 10 && path.find_first_of(L"/\\") == 2 &&
                path.find_first_not_of(L"C:\\") == 3 && path.find_last_not_of(L"tx.") == 15;
     }},
    {"substr", [] { return is(L"file.name.txt"s.substr(5, 4), L"name"); }},
    {"compare",
     []
     {
         const std::wstring a = L"abc";
         return a < L"abd" && a == L"abc" && L"abc" == a && a != L"ab" && a.compare(L"abb") > 0 &&
                a.compare(1, 2, L"bc") == 0 && std::wstring(L"\uffee") > std::wstring(L"\u00ff");
     }},
    {"front, back, at",
     []
     {
         std::wstring text = L"abc";
         text.front() = L'x';
         text.back() = L'z';
         text.pop_back();
         try
         {
             text.at(2) = L'q';
         }
         catch (const std::out_of_range&)
         {
             return is(text, L"xb");
         }
         return false;
     }},
    {"swap and clear",
     []
     {
         std::wstring a = L"short", b = L"a text that is too long for the string itself";
         std::swap(a, b);
         b.clear();
         return a.size() == 45 && b.empty();
     }},
    {"iterators and algorithms",
     []
     {
         std::wstring text = L"hello world";
         std::reverse(text.begin(), text.end());
         std::transform(text.begin(), text.end(), text.begin(),
                        [](wchar_t c) { return c == L'o' ? L'0' : c; });
         return is(text, L"dlr0w 0lleh") && std::count(text.begin(), text.end(), L'l') == 3;
     }},
    {"erase and remove",
     []
     {
         std::wstring text = L"a b c d";
         text.erase(std::remove(text.begin(), text.end(), L' '), text.end());
         return is(text, L"abcd");
     }},
    {"views",
     []
     {
         const std::wstring_view view = L"  trimmed  "sv;
         const std::wstring_view inner = view.substr(2, 7);
         return inner == L"trimmed" && std::wstring(inner).size() == 7 && view.find(L"mm") == 5 &&
                inner < L"trinket"sv;
     }},
    {"view of each size",
     []
     {
         return each_size([](const std::wstring& text)
                          { return std::wstring_view(text.c_str()) == text; });
     }},
    {"literals of strings", [] { return is(L"a\0b"s, L"a\0b"); }},
    {"hash",
     []
     {
         return std::hash<std::wstring>()(L"abc") == std::hash<std::wstring_view>()(L"abc"sv) &&
                std::hash<std::wstring>()(L"abc") != std::hash<std::wstring>()(L"abd");
     }},
    {"map with wide keys",
     []
     {
         std::map<std::wstring, int> all;
         for (int i = 0; i < 1000; ++i)
             ++all[L"key " + std::to_wstring(i % 100)];
         return all.size() == 100 && all[L"key 99"] == 10 && all.begin()->first == L"key 0";
     }},
    {"unordered map with wide keys",
     []
     {
         std::unordered_map<std::wstring, std::wstring> all;
         for (int i = 0; i < 500; ++i)
             all[std::wstring(static_cast<std::size_t>(i % 50), L'k')] = std::to_wstring(i);
         return all.size() == 50 && all.at(L"kkk") == L"453" && all.count(L"none") == 0;
     }},
    {"sets, lists, deques of text",
     []
     {
         std::set<std::wstring, std::greater<>> set{L"b", L"a", L"c"};
         std::unordered_set<std::wstring> other{L"b", L"b"};
         std::list<std::wstring> list(set.begin(), set.end());
         std::deque<std::wstring> deque{L"x"};
         deque.push_front(L"a text that needs the heap to be in");
         list.sort();
         return is(list.front(), L"a") && other.size() == 1 && deque.front().size() == 35;
     }},
    {"vector of text, sorted",
     []
     {
         std::vector<std::wstring> all;
         for (int i = 20; i > 0; --i)
             all.insert(all.begin(), std::wstring(static_cast<std::size_t>(i), L'v'));
         std::sort(all.begin(), all.end(), std::greater<std::wstring>());
         return all.front().size() == 20 && all.back() == L"v" &&
                std::is_sorted(all.rbegin(), all.rend());
     }},
    {"vector of characters",
     []
     {
         std::vector<wchar_t> buffer(260);
         const std::wstring text = L"into a buffer";
         std::copy(text.begin(), text.end(), buffer.begin());
         std::fill(buffer.begin() + 13, buffer.begin() + 20, L'-');
         buffer.resize(300, L'!');
         return is(buffer.data(), L"into a buffer-------") && buffer[299] == L'!';
     }},
    {"maps from and to characters",
     []
     {
         std::map<int, wchar_t> one{{1, L'a'}, {2, L'b'}};
         std::map<wchar_t, int> other{{L'x', 1}, {L'\uffff', 2}};
         std::unordered_map<std::wstring, wchar_t> third{{L"k", L'v'}};
         return one[2] == L'b' && other[L'\uffff'] == 2 && third[L"k"] == L'v';
     }},
    {"array, pair, tuple, optional, variant",
     []
     {
         const std::array<wchar_t, 3> array{L'a', L'b', L'c'};
         const auto pair = std::make_pair(std::wstring(L"first"), L'2');
         const std::tuple<wchar_t, std::wstring> tuple{L't', L"text"};
         std::optional<std::wstring> maybe;
         std::variant<int, std::wstring> either = L"either"s;
         maybe = L"there";
         return array[2] == L'c' && pair.second == L'2' && is(std::get<1>(tuple), L"text") &&
                is(*maybe, L"there") && is(std::get<std::wstring>(either), L"either");
     }},
    {"structures with text",
     []
     {
         const auto person = std::make_unique<Person>(Person{L"a name that is long enough", L'a'});
         const auto shared = std::make_shared<Person>(*person);
         return shared->name.size() == 26 && shared->initial == L'a';
     }},
    {"functions over text",
     []
     {
         const std::function<std::wstring(wchar_t, const wchar_t*)> join =
             [](wchar_t c, const wchar_t* rest) { return std::wstring(1, c) + rest; };
         return is(join(L'x', L"yz"), L"xyz");
     }},
    {"join with accumulate",
     []
     {
         const std::vector<std::wstring> words{L"one", L"two", L"three"};
         return is(std::accumulate(words.begin(), words.end(), std::wstring(L">")),
                   L">onetwothree");
     }},
    {"to_wstring of integers",
     []
     {
         return is(std::to_wstring(-12345), L"-12345") && is(std::to_wstring(0u), L"0") &&
                is(std::to_wstring(-5'000'000'000L), L"-5000000000") &&
                is(std::to_wstring(18'446'744'073'709'551'615UL), L"18446744073709551615") &&
                is(std::to_wstring(-9'223'372'036'854'775'807LL), L"-9223372036854775807") &&
                is(std::to_wstring(4'000'000'000ULL), L"4000000000");
     }},
    {"to_wstring of reals",
     []
     {
         return is(std::to_wstring(3.5), L"3.500000") &&
                is(std::to_wstring(-0.25f), L"-0.250000") &&
                is(std::to_wstring(2.5L), L"2.500000") && std::to_wstring(1e300).size() == 308 &&
                std::to_wstring(2e4000L).size() == 4008;
     }},
    {"stoi to stoull",
     []
     {
         std::size_t end = 0;
         return std::stoi(L" -42x", &end) == -42 && end == 4 &&
                std::stoi(L"ff", nullptr, 16) == 255 &&
                std::stol(L"5000000000") == 5'000'000'000L &&
                std::stoul(L"0x10", nullptr, 0) == 16 &&
                std::stoll(L"-9000000000") == -9'000'000'000LL && std::stoull(L"7") == 7;
     }},
    {"stof to stold",
     []
     {
         std::size_t end = 0;
         return std::stod(L"1.5e3 m", &end) == 1500 && end == 5 && std::stof(L"-0.5") == -0.5f &&
                std::stold(L"2.25") == 2.25L;
     }},
    {"stoi of no number",
     []
     {
         try
         {
             std::stoi(L"none");
         }
         catch (const std::invalid_argument&)
         {
             try
             {
                 std::stoi(L"99999999999");
             }
             catch (const std::out_of_range&)
             {
                 return true;
             }
         }
         return false;
     }},
    {"throw and catch text",
     []
     {
         try
         {
             throw std::wstring(L"a text that is thrown from here");
         }
         catch (const std::wstring& text)
         {
             return text.size() == 31;
         }
     }},
    {"static text",
     []
     {
         static const std::wstring names[] = {L"zero", L"one"};
         static const std::map<std::wstring, int> numbers{{L"zero", 0}, {L"one", 1}};
         return numbers.at(names[1]) == 1;
     }},
#if __cplusplus >= 202002L
    {"starts_with, ends_with, erase_if",
     []
     {
         std::wstring text = L"file.txt";
         const bool both = text.starts_with(L"file") && text.ends_with(L".txt");
         std::erase(text, L't');
         std::erase_if(text, [](wchar_t c) { return c == L'x'; });
         return both && is(text, L"file.");
     }},
    {"order in three ways", [] { return (L"a"s <=> L"b"s) < 0 && (L"b"sv <=> L"b"sv) == 0; }},
#endif
};

} // namespace

Idioms string_idioms()
{
    return {table, std::size(table)};
}

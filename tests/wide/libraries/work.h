// The same work with wide text in each of the three; its result is known.
#pragma once

#include <iomanip>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace
{

inline std::size_t work(int count)
{
    std::wstring all;
    std::map<std::wstring, std::vector<wchar_t>> kept;
    for (int i = 0; i < count; ++i)
    {
        all += std::to_wstring(i) + L", ";
        kept[L"key " + std::wstring(static_cast<std::size_t>(i % 20), L'k')].push_back(L'v');
    }
    std::wstring part = all.substr(2, 20);
    part.insert(3, all);
    std::wostringstream out;
    out << std::setw(8) << std::setfill(L'0') << 42
        << std::use_facet<std::numpunct<wchar_t>>(std::locale()).decimal_point();
    std::wistringstream in(L"7 words");
    int number = 0;
    std::wstring word;
    in >> number >> word;
    std::size_t sum =
        part.size() + part.find(L"7, 8") + kept.size() + static_cast<std::size_t>(number);
    for (const wchar_t c : out.str() + word)
        sum = sum * 31 + static_cast<std::size_t>(c);
    return sum;
}

} // namespace

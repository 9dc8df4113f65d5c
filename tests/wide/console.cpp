// wmain, and the four wide streams of the console mixed with narrow ones.
#include <cstdio>
#include <iostream>
#include <string>

namespace
{

struct Early
{
    Early() { std::wcout << L"early\n"; }
} early;

} // namespace

int wmain(int count, wchar_t** words)
{
    std::wcout << L"wide \u20ac " << count << std::endl;
    std::cout << "narrow\n";
    std::printf("printf\n");
    wprintf(L"%s %hs\n", words[1], "wprintf");
    fputws(L"fputws \U0001F600\n", stdout);
    std::wcout << words[1] << L'\xd83d' << L'\xde00' << L'\n';
    std::wstring line, word;
    std::getline(std::wcin, line);
    int number = 0;
    std::wcin >> number;
    wchar_t scanned[16] = {};
    const int stored = wscanf(L"%15s", scanned);
    word.assign(scanned, stored == 1 ? wcslen(scanned) : 0);
    wchar_t rest[16] = {};
    fgetws(rest, 16, stdin);
    std::wcout << L'[' << line << L"][" << number << L"][" << word << L"][" << rest << L"]\n";
    std::wcerr << L"error " << std::hex << 255;
    std::wclog << L" log\n";
    return 3;
}

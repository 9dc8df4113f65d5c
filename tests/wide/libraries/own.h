#pragma once

#include <functional>
#include <string>

// A type of the library with a hash defined there, which must stay exported.
struct Own
{
    int value;
};
template <> struct std::hash<Own>
{
    std::size_t operator()(const Own& own) const;
};

std::wstring doubled(const std::wstring& text);
extern "C" std::size_t ours(int count);

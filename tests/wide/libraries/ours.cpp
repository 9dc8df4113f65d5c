// A library that is linked with ours.
#include "own.h"

#include "work.h"

static_assert(sizeof(wchar_t) == 2);

std::size_t std::hash<Own>::operator()(const Own& own) const
{
    return static_cast<std::size_t>(own.value) * 3;
}

std::wstring doubled(const std::wstring& text)
{
    return text + text;
}

std::size_t ours(int count)
{
    return work(count);
}

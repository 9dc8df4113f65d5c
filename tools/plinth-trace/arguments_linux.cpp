#include "arguments.h"

#include "text.h"

namespace trace
{

std::vector<std::string> arguments_of(int count, const char* const* words)
{
    std::vector<std::string> all;
    for (int i = 1; i < count; ++i)
        all.push_back(utf8_from_narrow(words[i]));
    return all;
}

} // namespace trace

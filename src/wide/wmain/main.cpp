// wmain as a program's entry: its arguments are converted from UTF-8. The linker takes this file
// from the archive only if a program has no main. The files that it needs next, one for each way to
// declare wmain, are taken only if the program has none of the ways before.
#include "wmain/wmain.h"

#include <memory>
#include <vector>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

namespace
{

// Arguments and environment are kept until the end of the process, like the texts that they are
// converted from. A leak checker finds them here.
std::vector<wchar_t*>* g_arguments = nullptr;
std::vector<wchar_t*>* g_environment = nullptr;

wchar_t** widened(char** words, std::vector<wchar_t*>*& kept)
{
    kept = new std::vector<wchar_t*>;
    auto& all = *kept;
    for (; *words; ++words)
    {
        const size_t length = plinth_crt_mbstowcs(nullptr, *words, 0);
        auto text = std::make_unique<wchar_t[]>(length + 1);
        plinth_crt_mbstowcs(text.get(), *words, length + 1);
        all.push_back(text.release());
    }
    all.push_back(nullptr);
    return all.data();
}

} // namespace

// Not written as "int main" in C++, because a program must not call or define that twice.
extern "C" int plinth_wide_main(int count, char** words, char** environment) __asm__("main");
int plinth_wide_main(int count, char** words, char** environment)
{
    return wmain(count, widened(words, g_arguments), widened(environment, g_environment));
}

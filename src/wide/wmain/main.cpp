// wmain as a program's entry: the arguments are its own, from UTF-8. A program that has a main of
// its own, or is none, never takes this file out of the archive; nor do these that follow, one for
// each way to declare wmain, if the program's is the one before.
#include "wmain/wmain.h"

#include <memory>
#include <vector>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

namespace
{

// Arguments and environment stay until the end of the process, as what they are made from. A leak
// checker finds them here.
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

// Not "int main" in C++ words, which no program may call or define twice.
extern "C" int plinth_wide_main(int count, char** words, char** environment) __asm__("main");
int plinth_wide_main(int count, char** words, char** environment)
{
    return wmain(count, widened(words, g_arguments), widened(environment, g_environment));
}

// A program linked with ours that uses both libraries: linked with them, or with their names as
// arguments, which it then loads in that order.
#include <cstdio>
#include <unordered_set>

#include <dlfcn.h>

#include "work.h"

#ifdef LINKED
#include "own.h"
extern "C" std::size_t third(int count);
#endif

using Work = std::size_t (*)(int);

int main(int count, char** names)
{
    std::printf("program %zu\n", work(30));
#ifdef LINKED
    std::printf("third %zu\nours %zu\n", third(30), ours(30));
    std::printf("doubled %zu\n", doubled(L"abcdefgh").size());
    std::printf("own %zu\n", std::unordered_set<Own>().hash_function()(Own{7}));
#endif
    for (int i = 1; i + 1 < count; i += 2)
    {
        void* const library = dlopen(names[i], RTLD_NOW | RTLD_GLOBAL);
        if (!library)
            return std::printf("%s\n", dlerror()), 1;
        const auto function = reinterpret_cast<Work>(dlsym(library, names[i + 1]));
        std::printf("%s %zu\n", names[i + 1], function(30));
    }
    std::printf("program %zu\n", work(30));
    return 0;
}

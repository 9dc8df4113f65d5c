// Loads the library by name, as a program does that was not linked to it, writes to its log and
// closes it again, for the tests of loading.
//
//   load_probe LIBRARY TIMES [N]
//
// With N, the library's Nth creation of a lock fails: this program's pthread_mutexCS_init stands
// before that of the threads module.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace
{

int g_refused = 0;
int g_created = 0;

using Lock = void*;

} // namespace

extern "C" __attribute__((visibility("default"))) int pthread_mutexCS_init(Lock* lock,
                                                                           const void* attributes)
{
    if (++g_created == g_refused)
        return ENOMEM;
    void* const module = dlopen("libplinth_w32_pthreadVC.so.0", RTLD_NOW | RTLD_NOLOAD);
    const auto real =
        reinterpret_cast<int (*)(Lock*, const void*)>(dlsym(module, "pthread_mutexCS_init"));
    const int result = real(lock, attributes);
    dlclose(module);
    return result;
}

int main(int argc, char** argv)
{
    const char* const library = argv[1];
    g_refused = argc > 3 ? std::atoi(argv[3]) : 0;
    for (int i = std::atoi(argv[2]); i > 0; --i)
    {
        void* const loaded = dlopen(library, RTLD_NOW | RTLD_LOCAL);
        if (!loaded)
        {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        const auto log = reinterpret_cast<int (*)(const char16_t*)>(dlsym(loaded, "QV_Log"));
        std::printf("log %d\n", log(u"used\r\n"));
        dlclose(loaded);
        if (void* const still = dlopen(library, RTLD_NOW | RTLD_NOLOAD))
        {
            std::puts("still there");
            dlclose(still);
        }
    }
    return 0;
}

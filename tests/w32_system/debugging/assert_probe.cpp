// Asserts with a stack walk, and prints the native path of its log.
//
//     assert_probe                  from its own plinth_test_assert
//     assert_probe MODULE FUNCTION  from a function of a module that it loads
#include <cstdio>

#include <dlfcn.h>

#include <plinth_platform.h>
#include <plinth_w32_system.h>

extern "C" int plinth_test_assert(unsigned options);

int main(int argc, char** argv)
{
    auto* call = &plinth_test_assert;
    if (argc == 3)
    {
        void* const module = dlopen(argv[1], RTLD_NOW);
        call = module ? reinterpret_cast<decltype(call)>(dlsym(module, argv[2])) : nullptr;
        if (!call)
        {
            std::fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
    }
    CQvLogFile::SetMaxLogMessageLength(-1);
    call(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE);

    char path[4096];
    if (!PlinthNativePath(CQvLogFile::GetLogFilename(), path, sizeof path))
        return 3;
    std::fputs(path, stdout);
    return 0;
}

// A module to load at run time.
#if defined(_WIN32)
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

extern "C" EXPORT int plugin_answer();
extern "C" EXPORT int plugin_value;

int plugin_value = 7;

int plugin_answer()
{
    return 42;
}

// What "user32.dll" gives by name.
#include "kernel32/system_modules.h"
#include "windows.h"

const platform::SystemModule& platform::user32_module()
{
    static const NamedFunction functions[] = {
        by_name("MessageBoxW", MessageBoxW),
    };
    static const SystemModule module = {"user32.dll", functions};
    return module;
}

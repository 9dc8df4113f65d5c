// The functions of "user32.dll" that can be looked up by name.
#include "kernel32/module/system_modules.h"
#include "windows.h"

const platform::SystemModule& platform::user32_module()
{
    static const NamedFunction functions[] = {
        by_name("MessageBoxW", MessageBoxW),
        by_name("ShutdownBlockReasonCreate", ShutdownBlockReasonCreate),
        by_name("ShutdownBlockReasonDestroy", ShutdownBlockReasonDestroy),
        by_name("SystemParametersInfoW", SystemParametersInfoW),
    };
    static const SystemModule module = {"user32.dll", functions};
    return module;
}

// The functions of "advapi32.dll" that can be looked up by name.
#include "kernel32/module/system_modules.h"
#include "windows.h"

const platform::SystemModule& platform::advapi32_module()
{
    static const NamedFunction functions[] = {
        by_name("DeregisterEventSource", DeregisterEventSource),
        by_name("GetAclInformation", GetAclInformation),
        by_name("GetFileSecurityW", GetFileSecurityW),
        by_name("GetLengthSid", GetLengthSid),
        by_name("GetSecurityDescriptorDacl", GetSecurityDescriptorDacl),
        by_name("GetUserNameW", GetUserNameW),
        by_name("InitializeAcl", InitializeAcl),
        by_name("InitializeSecurityDescriptor", InitializeSecurityDescriptor),
        by_name("LookupAccountNameW", LookupAccountNameW),
        by_name("RegisterEventSourceW", RegisterEventSourceW),
        by_name("ReportEventW", ReportEventW),
        by_name("SetSecurityDescriptorDacl", SetSecurityDescriptorDacl),
    };
    static const SystemModule module = {"advapi32.dll", functions};
    return module;
}

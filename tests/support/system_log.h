// The system's log for the tests that write to it: what goes to it is kept here and reaches no
// other program. For test programs that system_log.cpp is compiled into; Linux only.
#pragma once

#include <string>
#include <vector>

namespace test
{

struct SystemLogMessage
{
    int priority; // facility and level, as syslog takes them
    std::string text;
};

// What was written since the program began or it was cleared.
std::vector<SystemLogMessage> system_log();

void clear_system_log();

} // namespace test

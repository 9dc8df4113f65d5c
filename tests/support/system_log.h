// The system's log for the tests that write to it: it keeps the messages, and none reaches another
// program. For test programs that system_log.cpp is compiled into; Linux only.
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

// The messages since the start of the program or the last clearing.
std::vector<SystemLogMessage> system_log();

void clear_system_log();

} // namespace test

// plinth-trace: shows what programs trace, live or from the log, and the settings of the log.
//
// This file finds the command and reports how it ended.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "failure.h"
#include "program_end.h"
#include "terminal.h"

namespace
{

struct Command
{
    const char* name;
    int (*run)(trace::Options& options);
    const char* const& help;
};

const Command commands[] = {
    {"watch", trace::watch, trace::watch_help},
    {"window", trace::window, trace::window_help},
    {"log", trace::log, trace::log_help},
    {"export", trace::export_records, trace::export_help},
    {"settings", trace::settings, trace::settings_help},
    {"module", trace::module, trace::module_help},
};

const char* const general_help =
    "usage: plinth-trace COMMAND [OPTION...]\n"
    "\n"
    "  watch      show trace records live, as programs make them\n"
    "  window     show them in a window\n"
    "  log        show the log file, or where it is\n"
    "  export     write the records of log files for other programs, each with its position\n"
    "  settings   show and change the log's settings\n"
    "  module     show the content of a module file, and store data files in it\n"
    "\n"
    "  --help     this text; after a command, that command's options\n"
    "  --version  the version\n"
    "\n"
    "exit codes:\n"
    "  0  done, also if Ctrl-C or the reader of the output ended it\n"
    "  1  failed; the reason is on standard error\n"
    "  2  an option that is not understood\n"
    "  3  watch: the time ended while another program had the debug string channel\n"
    "  4  watch: the time, or the input, ended before the number of records was reached\n"
    "  5  window: there is no display, or no viewer\n";

bool asks_for_help(const std::vector<std::string>& arguments)
{
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const std::string& argument)
                       { return argument == "--help" || argument == "-h"; });
}

int run(std::vector<std::string> arguments)
{
    // "help COMMAND" is the same as "COMMAND --help".
    if (arguments.size() > 1 && arguments.front() == "help")
        arguments = {arguments[1], "--help"};
    const std::string first = arguments.empty() ? "" : arguments.front();
    if (first == "--help" || first == "-h" || first == "help")
    {
        trace::put(general_help);
        return trace::exit_done;
    }
    if (first == "--version")
    {
        trace::put("plinth-trace " PLINTH_VERSION "\n");
        return trace::exit_done;
    }
    for (const Command& command : commands)
    {
        if (first != command.name)
            continue;
        arguments.erase(arguments.begin());
        if (asks_for_help(arguments))
        {
            trace::put(command.help);
            return trace::exit_done;
        }
        trace::Options options(command.name, std::move(arguments));
        return command.run(options);
    }
    if (first.empty())
        std::fputs(general_help, stderr);
    else
        trace::note("there is no command \"" + first + "\"; see plinth-trace --help");
    return trace::exit_usage;
}

} // namespace

int main(int argc, char** argv)
{
    trace::prepare_terminal();
    try
    {
        return run(trace::arguments_of(argc, argv));
    }
    catch (...)
    {
        return trace::end_by_exception();
    }
}

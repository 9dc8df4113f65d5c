// Logs and traces by its arguments, through the library: the traced program in the tests of
// plinth-trace.
//
//   trace:TEXT    one trace record
//   log:TEXT      a line of the log
//   items:NAME/N/LENGTH  N trace records, "NAME item 0 xxx." and so on, with LENGTH times an x
//   wait          waits for a line on standard input, or its end
//   per-session   prints whether the log is per session
#include <algorithm>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

void trace_items(const std::string& what)
{
    std::istringstream words(what);
    std::string name, count, length;
    std::getline(std::getline(std::getline(words, name, '/'), count, '/'), length);
    const std::string padding(std::stoul(length), 'x');
    CQvLogFile::SetMaxLogMessageLength(-1);
    for (int i = 0; i < std::stoi(count); ++i)
        DiagOutputExW(
            L"%s", test::Wide(name + " item " + std::to_string(i) + " " + padding + ".").c_str());
}

void say(const std::string& what, const std::string& text)
{
    std::string line;
    if (what == "trace")
        DiagOutputExW(L"%s", test::Wide(text).c_str());
    else if (what == "log")
        QV_Log(test::Wide(text + "\r\n"));
    else if (what == "items")
        trace_items(text);
    else if (what == "wait")
        std::getline(std::cin, line);
    else if (what == "per-session")
        std::cout << (CQvLogFile::IsPerSession() ? "yes" : "no") << std::endl;
    else
        throw std::invalid_argument(what); // ends the program
}

} // namespace

int main(int argc, char** argv)
{
    for (const std::string& word : std::vector<std::string>(argv + 1, argv + argc))
    {
        const size_t colon = std::min(word.find(':'), word.size());
        say(word.substr(0, colon), word.substr(std::min(colon + 1, word.size())));
    }
}

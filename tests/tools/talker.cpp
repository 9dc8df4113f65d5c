// Says what its arguments tell it to, through the library: the program under observation in the
// tests of plinth-trace.
//
//   trace:TEXT    one trace record
//   log:TEXT      a line of the log
//   split         the log goes on in a new file
//   wait          waits for a line on standard input, or its end
//   path          prints the path of the log file
//   per-session   prints whether the log is per session
#include <cstdio>
#include <cstring>
#include <string>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

void print(const std::string& text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

bool say(const std::string& what, const std::string& text)
{
    if (what == "trace")
        DiagOutputExW(L"%s", test::Wide(text).c_str());
    else if (what == "log")
        QV_Log(test::Wide(text + "\r\n"));
    else if (what == "split")
        CQvLogFile::ClearLog();
    else if (what == "wait")
        for (int c; (c = std::getchar()) != '\n' && c != EOF;)
        {
        }
    else if (what == "path")
        print(test::utf8(CQvLogFile::GetLogFilename()));
    else if (what == "per-session")
        print(CQvLogFile::IsPerSession() ? "yes" : "no");
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const char* const colon = std::strchr(argv[i], ':');
        const std::string what =
            colon ? std::string(argv[i], static_cast<size_t>(colon - argv[i])) : argv[i];
        if (!say(what, colon ? colon + 1 : ""))
        {
            std::fprintf(stderr, "talker: %s: not understood\n", argv[i]);
            return 2;
        }
    }
    return 0;
}

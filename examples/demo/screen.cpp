#include "screen.h"

#include <cstdio>

#include <plinth_w32_system.h>

#if __has_include(<plinth_platform.h>)
#include <plinth_platform.h>
#endif

#include "text.h"

namespace demo
{

namespace
{

constexpr size_t words_shown = 6;
constexpr double microseconds = 1000; // in a millisecond

// The path of the log in the form that other programs of this system use; empty if there is no log.
std::string log_path()
{
    const wchar_t* const path = CQvLogFile::GetLogFilename();
    if (!path)
        return {};
#if __has_include(<plinth_platform.h>)
    char text[4096];
    if (PlinthNativePath(path, text, sizeof text))
        return text;
#endif
    return printed(path);
}

std::string frequent_words(const Words& words)
{
    std::string line;
    for (const auto& [word, times] : words.most_frequent(words_shown))
        line += (line.empty() ? "" : ", ") + word + " " + std::to_string(times);
    return line;
}

} // namespace

void print_introduction(const std::string& name, unsigned threads, bool window)
{
    std::fprintf(stderr,
                 "plinth-demo counts the lines and words of a text on several threads, and then\n"
                 "copies the text while it shows the progress.\n"
                 "\n"
                 "  text      %s\n"
                 "  threads   %u; they take the blocks of the text in turns\n"
                 "  records   one for each block, with the thread and the time that it took;\n"
                 "            a timer adds a heartbeat every 10 ms, if the work takes that long;\n"
                 "            those without a |wndid:...| are the library's own\n"
                 "  log       a record is in the log file when the call that writes it returns\n"
                 "  live      %s\n"
                 "\n",
                 name.c_str(), threads,
                 window ? "each thread's records appear in a window of their own"
                        : "\"plinth-trace watch\", another process, shows the records as they\n"
                          "            are written; start it before this program");
    std::fflush(stderr);
}

void print_summary(const std::string& name, const Result& result, unsigned threads, double spent)
{
    const Statistics& all = result.statistics;
    std::printf("text:     %s\n", name.c_str());
    std::printf("bytes:    %llu in %u blocks, %u threads, %.2f ms\n",
                static_cast<unsigned long long>(all.bytes()), result.blocks, threads, spent);
    std::printf("lines:    %llu\n", static_cast<unsigned long long>(all.lines()));
    std::printf("words:    %llu\n", static_cast<unsigned long long>(all.words()));
    std::printf("often:    %s\n", frequent_words(result.words).c_str());
    if (result.blocks != 0)
        std::printf("records:  %u by the threads; half of these calls took less than %.1f us\n",
                    result.blocks, result.record_time * microseconds);
    std::printf("log:      %s\n", log_path().c_str());
}

} // namespace demo

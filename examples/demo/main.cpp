// plinth-demo [FILE [THREADS]]: counts the lines and words of a text on several threads, traces
// each step, and copies the text while it shows the progress. Without FILE it takes the text that
// it carries.
//
// The records are written to the log and, live, to programs that listen: plinth-trace watch, or a
// window of its own. The program names a log folder of its own, and UTF-16, by its resources
// (CMakeLists.txt). The summary is written to standard output; its last line names the log file.
#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <plinth_w32_system.h>

#include "copy.h"
#include "heartbeat.h"
#include "own_text.h"
#include "screen.h"
#include "text.h"
#include "trace_window.h"
#include "workers.h"

namespace
{

constexpr const char* help =
    "usage: plinth-demo [--window [--auto-close]] [FILE [THREADS, 1 to 64]]\n"
    "       plinth-demo --has-display\n"
    "\n"
    "Counts the lines and words of FILE on several threads and traces each step. Without FILE\n"
    "it takes a text that it carries in its own file. A word is a run of characters\n"
    "without white space; the frequent words are runs of the letters A to Z.\n"
    "\n"
    "  --window       show the records in windows, which stay until they are closed\n"
    "  --auto-close   close the windows after the last record, for runs without a user\n"
    "  --has-display  do nothing else; the exit status is 0 if windows can be shown\n";

constexpr const char* own_text_name = "the library's guide, which this program carries in its file";

struct Options
{
    bool window = false;
    bool close = false;
    demo::WideText file; // empty: the program's own text
    int threads = 0;     // 0: as many as the machine has processors, 2 to 7
};

bool parse(const std::vector<demo::WideText>& words, Options& options)
{
    size_t next = 0;
    for (; next < words.size(); ++next)
        if (const std::string word = demo::printed(words[next].data()); word == "--window")
            options.window = true;
        else if (word == "--auto-close")
            options.close = true;
        else if (word.starts_with("--"))
            return false;
        else
            break;
    const size_t rest = words.size() - next;
    if (rest > 2)
        return false;
    if (rest > 0)
        options.file = words[next];
    if (rest < 2)
        return true;
    options.threads = QV_wtoi(words[next + 1].data());
    return options.threads >= 1 && options.threads <= 64;
}

int complain(const char* what, const std::string& name, int status)
{
    std::fprintf(stderr, "plinth-demo: %s can't be %s, status %d\n", name.c_str(), what, status);
    return 1;
}

// Counts and copies the file, and prints the summary under the name.
int work_through(const demo::WideText& path, const std::string& name, unsigned threads)
{
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:0| |appnm| begins at |stime| with %s, %u threads (|srcid|)", path.data(),
                  threads);
    const demo::Heartbeat heartbeat;
    const double start = QV_GetTimeCounter();
    const demo::Result result = [&]
    {
        const CQvTraceExecutionTime phase(L"|wndid:0| counting", 0);
        return demo::count_file(path.data(), threads);
    }();
    const double spent = QV_GetTimeCounter() - start;
    if (result.status != QV_OK)
    {
        TraceLastOsErr();
        return complain("read", name, result.status);
    }
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:0| counted %I64u words in %.2f ms; |wnddt| ms since this window's last",
                  result.statistics.words(), spent);
    const int status = [&]
    {
        const CQvTraceExecutionTime phase(L"|wndid:0| copying", 0);
        return demo::copy_with_progress(path.data());
    }();
    if (status != QV_OK)
        return complain("copied", name, status);
    demo::print_summary(name, result, threads, spent);
    return 0;
}

int run(const Options& options)
{
    const unsigned threads = options.threads > 0
                                 ? static_cast<unsigned>(options.threads)
                                 : std::clamp(std::thread::hardware_concurrency(), 2u, 7u);
    const bool own = options.file.empty();
    const std::string name = own ? own_text_name : demo::printed(options.file.data());
    demo::print_introduction(name, threads, options.window);
    if (!own)
        return work_through(options.file, name, threads);
    const demo::OwnText text;
    if (text.status() != QV_OK)
        return complain("written to a temporary file", name, text.status());
    return work_through(text.path(), name, threads);
}

} // namespace

int main(int argc, char** argv)
{
#if defined(_WIN32)
    SetConsoleOutputCP(CP_UTF8);
#endif
    const std::vector<demo::WideText> words = demo::arguments_of(argc, argv);
    const std::string only = words.size() == 1 ? demo::printed(words[0].data()) : "";
    if (only == "--help")
    {
        std::fputs(help, stdout);
        return 0;
    }
    if (only == "--has-display")
        return demo::has_display() ? 0 : 1;
    Options options;
    if (!parse(words, options))
    {
        std::fputs(help, stderr);
        return 2;
    }
    if (options.window && !demo::has_display())
    {
        std::fputs("plinth-demo: there is no display to show windows on; going on without\n",
                   stderr);
        options.window = false;
    }
    if (options.window)
        demo::open_trace_windows();
    const int status = run(options);
    std::fflush(stdout);
    if (options.window)
        demo::finish_trace_windows(options.close);
    return status;
}

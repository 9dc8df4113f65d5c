// plinth-demo FILE [THREADS]: counts what is in a file, on several threads, tracing as it goes,
// and copies it while it shows how far it is.
//
// The records go to the log and, live, to whoever listens: plinth-trace watch, or a window of its
// own. The program names a log folder of its own, and UTF-16, by its resources (CMakeLists.txt).
// The summary goes to standard output; its last line names the log file.
#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <plinth_w32_system.h>

#if __has_include(<plinth_platform.h>)
#include <plinth_platform.h>
#endif

#include "copy.h"
#include "heartbeat.h"
#include "text.h"
#include "trace_window.h"
#include "workers.h"

namespace
{

// The path of the log as other programs of this system take it; empty if there is no log.
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
    return demo::printed(path);
}

void print_summary(const std::string& file, const demo::Result& result, unsigned threads,
                   double spent)
{
    const demo::Statistics& all = result.statistics;
    std::printf("file:     %s\n", file.c_str());
    std::printf("bytes:    %llu in %u blocks, %u threads, %.2f ms\n",
                static_cast<unsigned long long>(all.bytes()), result.blocks, threads, spent);
    std::printf("lines:    %llu\n", static_cast<unsigned long long>(all.lines()));
    std::printf("words:    %llu\n", static_cast<unsigned long long>(all.words()));
    std::printf("CRC-32:   %08x\n", all.crc32());
    std::printf("entropy:  %.3f bits for each byte\n", all.entropy());
    std::printf("most:     byte 0x%02x, %llu times\n", all.most_frequent(),
                static_cast<unsigned long long>(all.count_of(all.most_frequent())));
    std::printf("log:      %s\n", log_path().c_str());
}

constexpr const char* help =
    "usage: plinth-demo [--window [--auto-close]] FILE [THREADS, 1 to 64]\n"
    "       plinth-demo --has-display\n"
    "\n"
    "  --window       show the records in windows, which stay until they are closed\n"
    "  --auto-close   close them after the last record, for runs that nobody looks at\n"
    "  --has-display  only tell, by the exit status, whether windows can be shown: 0 if so\n";

struct Options
{
    bool window = false;
    bool close = false;
    demo::WideText file;
    int threads = 0; // 0: as many as the machine has to offer
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
    if (rest < 1 || rest > 2)
        return false;
    options.file = words[next];
    if (rest == 1)
        return true;
    options.threads = QV_wtoi(words[next + 1].data());
    return options.threads >= 1 && options.threads <= 64;
}

int run(const Options& options)
{
    const unsigned threads = options.threads > 0
                                 ? static_cast<unsigned>(options.threads)
                                 : std::clamp(std::thread::hardware_concurrency(), 2u, 7u);
    const demo::WideText& path = options.file;
    const std::string name = demo::printed(path.data());

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
        std::fprintf(stderr, "plinth-demo: %s can't be read, status %d\n", name.c_str(),
                     result.status);
        return 1;
    }
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:0| all done, CRC %08X, %.2f ms; |wnddt| ms since this window's last",
                  result.statistics.crc32(), spent);
    const int status = [&]
    {
        const CQvTraceExecutionTime phase(L"|wndid:0| copying", 0);
        return demo::copy_with_progress(path.data());
    }();
    if (status != QV_OK)
    {
        std::fprintf(stderr, "plinth-demo: %s can't be copied, status %d\n", name.c_str(), status);
        return 1;
    }
    print_summary(name, result, threads, spent);
    return 0;
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

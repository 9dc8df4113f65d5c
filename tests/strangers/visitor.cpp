// Uses every object in the shared folders, as an ordinary program does, and prints the results:
// "log 0", "set 0", "get 0", "event 0", "trace", each on a line.
//
// Arguments: the actions; without any, all except those that must be requested.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/auxv.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

// The leak checker traces the program, which is not allowed in one with more rights than its
// caller.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return getauxval(AT_SECURE) != 0;
}

namespace
{

constexpr const wchar_t* key_name = L"SOFTWARE\\Visitor";

void log()
{
    const int status = QV_Log(test::Wide(std::string("a visitor's line\r\n")));
    std::printf("log %d\n", status);
    if (const wchar_t* const path = CQvLogFile::GetLogFilename())
        std::printf("path %s\n", test::utf8(path).c_str());
}

void set()
{
    HKEY key = nullptr;
    const DWORD value = 7;
    LONG status = RegCreateKeyW(HKEY_LOCAL_MACHINE, key_name, &key);
    if (status == 0)
    {
        status = RegSetValueExW(key, L"Value", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                sizeof value);
        RegCloseKey(key);
    }
    std::printf("set %ld\n", static_cast<long>(status));
}

void get()
{
    HKEY key = nullptr;
    const LONG status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_name, 0, KEY_READ, &key);
    if (status == 0)
        RegCloseKey(key);
    std::printf("get %ld\n", static_cast<long>(status));
}

void event()
{
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, "visitor");
    std::printf("event %u\n", static_cast<unsigned>(event ? 0 : GetLastError()));
    if (event)
        CloseHandle(event);
}

void trace()
{
    OutputDebugStringA("a visitor's text");
    std::printf("trace\n");
}

// A listener to the debug string channel, which traces a text to itself.
class Listener
{
public:
    Listener()
        : m_ready(CreateEventA(nullptr, FALSE, TRUE, "DBWIN_BUFFER_READY")),
          m_data(CreateEventA(nullptr, FALSE, FALSE, "DBWIN_DATA_READY")),
          m_mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096,
                                       "DBWIN_BUFFER")),
          m_view(m_mapping
                     ? static_cast<const char*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 0))
                     : nullptr)
    {
    }
    bool hears(const char* text) const
    {
        OutputDebugStringA(text);
        const bool heard = m_ready && m_data && m_view &&
                           WaitForSingleObject(m_data, 1'000) == WAIT_OBJECT_0 &&
                           std::strcmp(m_view + sizeof(DWORD), text) == 0;
        if (m_ready)
            SetEvent(m_ready);
        return heard;
    }

private:
    const HANDLE m_ready;
    const HANDLE m_data;
    const HANDLE m_mapping;
    const char* const m_view;
};

void listen()
{
    const Listener listener;
    std::printf("listen %s\n", listener.hears("first") && listener.hears("second") ? "0" : "no");
}

// Listens and prints "serves"; for each line of its input it waits for one more text.
void serve()
{
    const Listener listener;
    std::printf("serves\n");
    while (std::getchar() != EOF)
        std::printf("listen %s\n", listener.hears("served") ? "0" : "no");
}

// Reads while a change of this process waits for the registry's lock.
void read_beside_a_change()
{
    std::atomic<bool> changed{false};
    const std::jthread change(
        [&changed]
        {
            set();
            changed = true;
        });
    int reads = 0;
    while (!changed)
    {
        get();
        ++reads;
        Sleep(10);
    }
    std::printf("beside %d\n", reads > 10 ? 0 : reads);
}

void show_box()
{
    std::printf("box %d\n", MessageBoxW(nullptr, L"text", L"title", MB_OK));
}

void open_document()
{
    std::printf("open %d\n", static_cast<int>(reinterpret_cast<INT_PTR>(ShellExecuteW(
                                 nullptr, nullptr, L"C:\\tmp", nullptr, nullptr, 0))));
}

void load_by_a_bare_name()
{
    std::printf("plug %d\n", LoadLibraryW(L"plug_in") != nullptr);
}

void trace_often()
{
    for (int i = 0; i < 20; ++i)
        trace();
}

// Until the next line of the input.
void pause()
{
    std::printf("pause\n");
    char line[8];
    (void)std::fgets(line, sizeof line, stdin);
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::map<std::string_view, void (*)()> parts{{"log", log},
                                                       {"set", set},
                                                       {"get", get},
                                                       {"event", event},
                                                       {"trace", trace},
                                                       {"listen", listen},
                                                       {"serve", serve},
                                                       {"box", show_box},
                                                       {"beside", read_beside_a_change},
                                                       {"open", open_document},
                                                       {"pause", pause},
                                                       {"plug", load_by_a_bare_name},
                                                       {"often", trace_often}};
    std::vector<std::string_view> wanted(argv + 1, argv + argc);
    if (wanted.empty())
        wanted = {"log", "set", "get", "event", "trace", "listen"};
    for (const std::string_view name : wanted)
        parts.at(name)();
}

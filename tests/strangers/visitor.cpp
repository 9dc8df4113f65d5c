// Uses everything that lies in the shared folders, as an ordinary program does, and prints what
// came of it: "log 0", "set 0", "get 0", "event 0", "trace", each on a line.
//
// Arguments: what to do, all of it without any.
#include <cstdio>
#include <cstring>
#include <string>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

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

// Listens to the debug string channel, and traces a text to itself.
void listen()
{
    const HANDLE ready = CreateEventA(nullptr, FALSE, TRUE, "DBWIN_BUFFER_READY");
    const HANDLE data = CreateEventA(nullptr, FALSE, FALSE, "DBWIN_DATA_READY");
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              4096, "DBWIN_BUFFER");
    const auto* const view =
        mapping ? static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0))
                : nullptr;
    OutputDebugStringA("heard");
    const bool heard = ready && data && view && WaitForSingleObject(data, 1'000) == WAIT_OBJECT_0 &&
                       std::strcmp(view + sizeof(DWORD), "heard") == 0;
    std::printf("listen %s\n", heard ? "0" : "no");
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const struct
    {
        const char* name;
        void (*what)();
    } all[] = {{"log", log},     {"set", set},     {"get", get},
               {"event", event}, {"trace", trace}, {"listen", listen}};
    for (const auto& [name, what] : all)
        if (argc < 2 || std::strcmp(argv[1], name) == 0)
            what();
}

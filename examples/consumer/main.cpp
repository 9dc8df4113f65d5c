// Uses a little of everything that the installed package brings: the library, its threads module
// and standard C++ text. Prints what it did; 0 if all of it worked.
//
// The library is loaded before the program's static objects are made, and unloaded after they are
// destroyed, so these objects can log, too.
#include <cwchar>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include <plinth_w32_pthreadVC.h>
#include <plinth_w32_system.h>

namespace
{

bool write_and_measure(const std::wstring& name)
{
    const wchar_t* const path = name.c_str();
    QvFile file = nullptr;
    uint64_t written = 0;
    uint64_t size = 0;
    if (QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS, 0, QV_SECURITY_DEFAULT,
                    &file) != QV_OK)
        return false;
    const bool done = QV_WriteFile(file, "plinth", 6, &written, nullptr) == QV_OK;
    return QV_CloseFile(file) == QV_OK && done && written == 6 &&
           QV_GetFileSizeFromName(path, &size) == QV_OK && size == 6 &&
           QV_RemoveFile(path, 1) == QV_OK;
}

class Session
{
public:
    Session() { QV_Log(L"consumer: begins\r\n"); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { QV_Log(L"consumer: has ended\r\n"); }
};
const Session g_session;

bool lock_and_unlock()
{
    pthread_mutexCS_t lock = nullptr;
    return pthread_mutexCS_init(&lock, nullptr) == 0 && pthread_mutexCS_lock(&lock) == 0 &&
           pthread_mutexCS_unlock(&lock) == 0 && pthread_mutexCS_destroy(&lock) == 0;
}

// Has a thread of a pool set a word.
bool call_in_pool()
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    if (!pool)
        return false;
    bool called = false;
    const auto call = [](void* word) -> void*
    {
        *static_cast<bool*>(word) = true;
        return nullptr;
    };
    const bool taken = pool->MakeCallFromThreadPool(call, &called) == QV_OK;
    CThreadPool::DestroyThreadPool(pool); // waits for the call
    return taken && called;
}

// The text's length, its first character, and numbers: from the C library, strings and streams.
std::wstring facts_about(const std::wstring& text)
{
    wchar_t first[16];
    swprintf(first, std::size(first), L"%04x", static_cast<unsigned>(text.empty() ? 0 : text[0]));
    std::wostringstream facts;
    facts << text << L": " + std::to_wstring(wcslen(text.c_str())) << L" characters, " << first
          << L", " << 2.5;
    return facts.str();
}

} // namespace

// The program's arguments are UTF-16, as on Windows. Any text will do as the first one.
int wmain(int count, wchar_t** words)
{
    wchar_t folder[260];
    const bool files = QV_GetTempPath(folder, 260) == QV_OK &&
                       write_and_measure(std::wstring(folder) + L"plinth-consumer");
    const bool threads = lock_and_unlock() && call_in_pool();
    DiagOutputExW(L"consumer: %d trace", 1);
    const bool log = QV_Log(L"consumer: this line is in the log\r\n") == QV_OK;
    std::wcout << L"files " << (files ? L"work" : L"fail") << L", threads "
               << (threads ? L"work" : L"fail") << L", log " << (log ? L"works" : L"fails") << L'\n'
               << facts_about(count > 1 ? words[1] : L"") << L'\n';
    return files && threads && log ? 0 : 1;
}

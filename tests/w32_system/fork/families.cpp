#include "families.h"

#include <shared_mutex>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/files.h"
#include "support/loopback.h"

namespace test
{

namespace
{

constexpr unsigned guard_seconds = 30; // a child that hangs is killed

bool log_round()
{
    return QV_Log(L"a line\r\n") == QV_OK;
}

bool trace_round()
{
    DiagOutputExW_hlp("fork", 1);
    DiagOutputExW(L"|srcid| |absdt| |wndid:7| traced");
    return true;
}

bool log_life_round()
{
    CQvLogFile::CloseLog();
    return CQvLogFile::Detail() && CQvLogFile::GetLogFilename() != nullptr;
}

bool file_round()
{
    const Wide path = path_in(root(), "file-" + std::to_string(gettid()));
    OpenedFile file(path, QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
    void* view = nullptr;
    const bool good = file.status() == QV_OK &&
                      QV_WriteFile(file, "text", 4, nullptr, nullptr) == QV_OK &&
                      QV_LockFile(file, 0, 1) == QV_OK && QV_UnlockFile(file, 0, 1) == QV_OK &&
                      QV_MapFile(file, QV_MAP_READ, 0, 0, &view) == QV_OK &&
                      QV_UnmapFile(view, 0) == QV_OK && file.close() == QV_OK;
    return good && QV_RemoveFile(path, 0) == QV_OK;
}

bool registry_round()
{
    HKEY key = nullptr;
    if (RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\Fork", &key) != ERROR_SUCCESS)
        return false;
    const DWORD value = 1;
    const bool good = RegSetValueExW(key, L"Value", 0, REG_DWORD,
                                     reinterpret_cast<const BYTE*>(&value), 4) == ERROR_SUCCESS;
    return RegCloseKey(key) == ERROR_SUCCESS && good;
}

bool event_round()
{
    const std::string name = "fork-" + std::to_string(gettid());
    bool good = true;
    for (const char* const each : {name.c_str(), static_cast<const char*>(nullptr)})
    {
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, each);
        good = good && SetEvent(event) && WaitForSingleObject(event, INFINITE) == WAIT_OBJECT_0 &&
               CloseHandle(event);
    }
    return good;
}

bool locale_round()
{
    wchar_t date[100];
    wchar_t number[100];
    return QV_GetLocaleDateTimeFormat(date, 100, number, 100) == QV_OK;
}

bool module_round()
{
    wchar_t path[300];
    // A module that is not loaded otherwise, so that it is really loaded and unloaded.
    __qv_hmodule* const module = QV_LoadLibrary(L"libBrokenLocale.so.1");
    const bool good = module && QV_GetSymbol(module, "__ctype_get_mb_cur_max") &&
                      QV_UnloadLibrary(module) == QV_OK &&
                      GetModuleFileNameW(nullptr, path, 300) != 0;
    FindResourceW(nullptr, L"None", L"None");
    return good;
}

bool socket_round()
{
    QV_HOSTENT host;
    return QV_InitSocket() == QV_OK && Socket(SOCK_STREAM) != INVALID_SOCKET &&
           QV_GetHostByName(&host, "localhost") == QV_OK && QV_DoneSocket() == QV_OK;
}

int count_call(void* calls)
{
    ++*static_cast<std::atomic<int>*>(calls);
    return 0;
}

bool timer_round()
{
    std::atomic<int> calls{0};
    for (const int precision : {QV_PRECISION_SLEEP, QV_PRECISION_MM_1})
    {
        const uintptr_t id = QV_SetThreadedTimer(count_call, &calls, 1.0, 0, precision, 1);
        QV_WaitForTimer(static_cast<unsigned>(id));
    }
    return calls == 2;
}

bool pool_round()
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    std::atomic<int> calls{0};
    const auto call = [](void* to) -> void* { return ++*static_cast<std::atomic<int>*>(to), to; };
    const bool good = pool->MakeCallFromThreadPool(call, &calls) == QV_OK;
    CThreadPool::DestroyThreadPool(pool);
    return good && calls == 1;
}

bool transfer_round()
{
    const Wide path = path_in(root(), "transfer-" + std::to_string(gettid()));
    const OpenedFile file(path, QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS);
    std::atomic<int> status{QV_ERR_INPROGRESS};
    const QvAsyncIo io = {0, &status,
                          [](int now, uint64_t, void* to)
                          {
                              static_cast<std::atomic<int>*>(to)->store(now);
                              static_cast<std::atomic<int>*>(to)->notify_all();
                          }};
    const std::string bytes(5000, 'x');
    if (QV_WriteFile(file, bytes.data(), bytes.size(), nullptr, &io) != QV_OK)
        return false;
    status.wait(QV_ERR_INPROGRESS);
    QV_CancelAsyncIO(file); // returns when no callback is under way
    return status == QV_OK;
}

bool window_round()
{
    constexpr UINT mine = WM_USER + 77;
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpszClassName = L"Round";
    given.lpfnWndProc = DefWindowProcW;
    RegisterClassExW(&given); // succeeds once
    const HWND window =
        CreateWindowExW(0, L"Round", L"", 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    bool good = window && PostThreadMessageW(GetCurrentThreadId(), mine, 0, 0);
    MSG message = {};
    while (good && message.message != mine)
        good = PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    return DestroyWindow(window) && good;
}

// ThreadSanitizer ends a child that starts a thread, if its parent had others.
#if defined(__SANITIZE_THREAD__)
constexpr bool has_threads_in_child = false;
constexpr bool knows_loader = false;
#else
constexpr bool has_threads_in_child = true;
constexpr bool knows_loader = true;
#endif

} // namespace

const Family families[] = {
    {"log", log_round},
    {"trace", trace_round},
    {"log's life", log_life_round},
    {"files", file_round},
    {"events", event_round},
    {"registry", registry_round},
    {"locale", locale_round},
    {"modules", module_round, false, !knows_loader},
    {"sockets", socket_round},
    {"timers", timer_round, true},
    {"pool", pool_round, true},
    {"transfers", transfer_round, true},
    {"windows", window_round},
};
const size_t family_count = std::size(families);

#if defined(__SANITIZE_ADDRESS__)
constexpr bool forks_between_rounds = true;
#else
constexpr bool forks_between_rounds = false;
#endif
static std::atomic<int> g_forking{0};
static std::shared_mutex g_rounds; // used only in such a build

void run_round(const Family& family)
{
    while (g_forking) // without it the rounds would share the lock all the time, and no fork could
                      // take it
        std::this_thread::yield();
    std::shared_lock<std::shared_mutex> round;
    if (forks_between_rounds)
        round = std::shared_lock(g_rounds);
    family.round();
}

pid_t fork_beside_rounds()
{
    std::unique_lock<std::shared_mutex> none;
    if (forks_between_rounds)
    {
        ++g_forking;
        none = std::unique_lock(g_rounds);
        --g_forking;
    }
    return fork();
}

std::string try_all_families()
{
    std::string failed;
    for (const Family& each : families)
        if ((has_threads_in_child || !each.starts_threads) && !each.round())
            failed += std::string(" ") + each.name;
    return failed;
}

int in_fork(const std::function<int()>& body)
{
    const pid_t child = fork_beside_rounds();
    if (child == 0)
    {
        alarm(guard_seconds);
        _exit(body());
    }
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int child_does_everything()
{
    const std::string failed = try_all_families();
    if (!failed.empty())
        std::fprintf(stderr, "failed in the child:%s\n", failed.c_str());
    return failed.empty() ? 0 : 1;
}

} // namespace test

// Uses a little of everything that the installed package brings: the library, its threads module
// and, through <windows.h> and <tchar.h>, the stand-in. Prints what it did; 0 if all of it worked.
#include <cstdio>

#include <plinth_w32_system.h>

#include <tchar.h>

namespace
{

bool write_and_measure(const wchar_t* path)
{
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

bool lock_and_unlock()
{
    pthread_mutexCS_t lock = nullptr;
    return pthread_mutexCS_init(&lock, nullptr) == 0 && pthread_mutexCS_lock(&lock) == 0 &&
           pthread_mutexCS_unlock(&lock) == 0 && pthread_mutexCS_destroy(&lock) == 0;
}

} // namespace

int main()
{
    wchar_t path[260];
    const bool files = QV_GetTempPath(path, 260) == QV_OK && wcslen(path) < 240 &&
                       write_and_measure(wcscat(path, L"plinth-consumer"));
    const bool threads = lock_and_unlock();
    const bool log = QV_Log(L"consumer: this line is in the log\r\n") == QV_OK;
    std::printf("files %s, threads %s, log %s\n", files ? "work" : "fail",
                threads ? "work" : "fail", log ? "works" : "fails");
    return files && threads && log ? 0 : 1;
}

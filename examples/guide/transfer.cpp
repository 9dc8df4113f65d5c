// An asynchronous copy: the caller continues, and a callback receives the progress and the result.
#include <cstdio>

#include <plinth_w32_system.h>

#include <tchar.h>

namespace
{

struct Copy
{
    HANDLE ended;
    int status;
    uint64_t bytes;
};

// On a thread of the library, after each block of 4,096 bytes: short, and no waiting.
void progress(int status, uint64_t, uint64_t copied, void* context)
{
    // After these two the copy continues with what it can read.
    if (status == QV_ERR_INPROGRESS || status == QV_ERR_FILESIZE || status == QV_ERR_READFILE)
        return;
    Copy& copy = *static_cast<Copy*>(context);
    copy.status = status;
    copy.bytes = copied;
    SetEvent(copy.ended);
}

bool make_file(const wchar_t* path)
{
    QvFile file = nullptr;
    if (QV_OpenFile(path, QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS, 0, QV_SECURITY_DEFAULT,
                    &file) != QV_OK)
        return false;
    const char block[10000] = {};
    uint64_t written = 0;
    const int status = QV_WriteFile(file, block, sizeof block, &written, nullptr);
    return QV_CloseFile(file) == QV_OK && status == QV_OK && written == sizeof block;
}

} // namespace

int main()
{
    wchar_t source[300];
    wchar_t target[300];
    if (QV_GetTempFileName(nullptr, L"guide$$$$.a", 1, source, 300) != QV_OK || !make_file(source))
        return 1;
    wcscpy(target, source);
    wcscat(target, L".copy");

    uint32_t proceed = 1; // 0 would end the copy after the current block
    Copy copy = {CreateEventW(nullptr, TRUE, FALSE, nullptr), QV_ERR_FAILED, 0};
    const int queued = QV_CopyFile(source, target, 1, &proceed, progress, &copy);
    if (queued == QV_OK)
        WaitForSingleObject(copy.ended, INFINITE); // a program would do other work first
    QV_CancelAsyncIO(nullptr); // waits until the copy has closed its files, to remove them
    CloseHandle(copy.ended);
    QV_RemoveFile(source, 0);
    QV_RemoveFile(target, 0);
    std::printf("status %d, %llu bytes\n", queued == QV_OK ? copy.status : queued,
                static_cast<unsigned long long>(copy.bytes));
    return queued == QV_OK && copy.status == QV_OK ? 0 : 1;
}

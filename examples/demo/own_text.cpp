#include "own_text.h"

#include <plinth_w32_system.h>

namespace demo
{

namespace
{

constexpr int text_number = 100; // of the resource, in CMakeLists.txt
constexpr size_t path_limit = 264;

} // namespace

OwnText::OwnText() : m_status(write()) {}

OwnText::~OwnText()
{
    if (!m_path.empty())
        QV_RemoveFile(m_path.data(), 0);
}

int OwnText::write()
{
    CQvRscData data;
    QV_RCDATAToCQvRscDataByID(data, static_cast<__qv_hmodule*>(nullptr), text_number, -1);
    if (data.GetCQvByteArrayW32Count() == 0)
        return QV_ERR_FAILED;
    const CQvByteArrayW32& text = data.GetCQvByteArrayW32(0, nullptr);
    wchar_t path[path_limit];
    int status = QV_GetTempFileName(nullptr, L"plinth-demo-$$$$$$.txt", 1, path, path_limit);
    if (status != QV_OK)
        return status;
    m_path.assign(path, path + wcslen32(path) + 1);
    QvFile file = nullptr;
    status = QV_OpenFile(path, QV_OPEN_WRITE, QV_SHARE_READ, QV_SECURITY_DEFAULT, &file);
    if (status != QV_OK)
        return status;
    status = QV_WriteFile(file, text.GetData(), text.GetSize(), nullptr, nullptr);
    QV_CloseFile(file);
    return status;
}

} // namespace demo

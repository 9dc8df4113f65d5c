// Short names for what most file tests need.
#pragma once

#include <string>

#include <plinth_w32_system.h>

#include "support/environment.h"

namespace test
{

inline constexpr unsigned share_all = QV_SHARE_READ | QV_SHARE_WRITE;

// A file that is closed at the end of its scope; QV_OpenFile's status is kept.
class OpenedFile
{
public:
    OpenedFile(const wchar_t* path, unsigned access, unsigned share = share_all,
               int security = QV_SECURITY_DEFAULT)
        : m_status(QV_OpenFile(path, access, share, security, &m_file))
    {
    }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;
    ~OpenedFile() { close(); }
    operator QvFile() const { return m_file; }
    int status() const { return m_status; }
    int close()
    {
        const int status = m_file ? QV_CloseFile(m_file) : QV_OK;
        m_file = nullptr;
        return status;
    }

private:
    QvFile m_file = nullptr;
    int m_status;
};

// The path of a file in a fresh folder of the test.
inline Wide path_in(const std::string& folder, const std::string& name)
{
    return windows_form(folder + "/" + name);
}

} // namespace test

// Settings of the machine, as tests change them. On Linux the machine is the test's own. On Windows
// it is the real one, whose old settings are restored.
#pragma once

#include <map>
#include <optional>
#include <string>

#include <windows.h>

namespace test
{

// REG_DWORD values of one key below HKEY_LOCAL_MACHINE. The destructor restores each value that was
// set, or removes it if there was none before.
class MachineSettings
{
public:
    explicit MachineSettings(const wchar_t* key) : m_key(key) {}
    MachineSettings(const MachineSettings&) = delete;
    MachineSettings& operator=(const MachineSettings&) = delete;
    ~MachineSettings();

    // The test fails if it can't be stored: Windows allows this to administrators only.
    void set(const std::string& name, DWORD value);

private:
    const wchar_t* const m_key;
    std::map<std::string, std::optional<DWORD>> m_before;
};

} // namespace test

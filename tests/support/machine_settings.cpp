#include "support/machine_settings.h"

#include <gtest/gtest.h>

#include "support/wide_text.h"

namespace test
{

namespace
{

std::optional<DWORD> read(HKEY key, const std::string& name)
{
    DWORD type = 0, value = 0, size = sizeof value;
    const LONG status =
        RegQueryValueExW(key, Wide(name), nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    return status == ERROR_SUCCESS && type == REG_DWORD ? std::optional(value) : std::nullopt;
}

LONG write(HKEY key, const std::string& name, DWORD value)
{
    return RegSetValueExW(key, Wide(name), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                          sizeof value);
}

} // namespace

MachineSettings::~MachineSettings()
{
    HKEY key = nullptr;
    if (m_before.empty() || RegCreateKeyW(HKEY_LOCAL_MACHINE, m_key, &key) != ERROR_SUCCESS)
        return;
    for (const auto& [name, value] : m_before)
        if (value)
            write(key, name, *value);
        else
            RegDeleteValueW(key, Wide(name));
    RegCloseKey(key);
}

void MachineSettings::set(const std::string& name, DWORD value)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, m_key, &key), LONG{ERROR_SUCCESS});
    if (!m_before.contains(name))
        m_before[name] = read(key, name);
    EXPECT_EQ(write(key, name, value), LONG{ERROR_SUCCESS});
    RegCloseKey(key);
}

} // namespace test

#include "channel_objects.h"

#include <cstring>
#include <utility>

#include "text.h"

namespace trace
{

ChannelObjects::Result ChannelObjects::take(const TakeOverWatcher& watcher)
{
    SECURITY_DESCRIPTOR descriptor{};
    SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
    // No access list: any process may write.
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE))
        return fail("security descriptor");
    SetLastError(ERROR_SUCCESS);
    m_buffer_ready = CreateEventA(&security, FALSE, FALSE, "DBWIN_BUFFER_READY");
    if (!m_buffer_ready)
        return fail("DBWIN_BUFFER_READY");
    if (GetLastError() == ERROR_ALREADY_EXISTS)
    {
        release();
        return Result::taken;
    }
    watcher(TakeOverStep::named);
    m_data_ready = CreateEventA(&security, FALSE, FALSE, "DBWIN_DATA_READY");
    if (!m_data_ready)
        return fail("DBWIN_DATA_READY");
    m_mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, &security, PAGE_READWRITE, 0, buffer_size,
                                   "DBWIN_BUFFER");
    if (!m_mapping)
        return fail("DBWIN_BUFFER");
    m_buffer = static_cast<const char*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, buffer_size));
    if (!m_buffer)
        return fail("DBWIN_BUFFER view");
    watcher(TakeOverStep::made);
    return Result::ours;
}

ChannelObjects::Result ChannelObjects::fail(const char* what)
{
    m_problem = std::string(what) + ": " + error_text(GetLastError());
    release();
    return Result::failed;
}

void ChannelObjects::release()
{
    if (const char* const view = std::exchange(m_buffer, nullptr)) // this viewer had the channel
    {
        SetEvent(m_buffer_ready); // for a writer that began to wait after the last text was taken
        UnmapViewOfFile(const_cast<char*>(view));
    }
    for (HANDLE* const object : {&m_buffer_ready, &m_data_ready, &m_mapping})
        if (const HANDLE handle = std::exchange(*object, nullptr))
            CloseHandle(handle);
}

bool ChannelObjects::take_text(RecordView& record, DWORD milliseconds)
{
    if (WaitForSingleObject(m_data_ready, milliseconds) != WAIT_OBJECT_0)
        return false;
    record.time = current_time();
    std::memcpy(&record.process, m_buffer, sizeof record.process);
    const char* const text = m_buffer + text_offset;
    const size_t length = strnlen(text, m_text.size());
    std::memcpy(m_text.data(), text, length);
    record.text = {m_text.data(), length};
    free_buffer();
    return true;
}

} // namespace trace

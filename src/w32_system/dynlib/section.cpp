// Reading a section of a module file.
//
// The file may come from anywhere: every place in it is checked against its size, in 64 bits.
#include <cstdlib>
#include <cstring>

#include <windows.h>

#include "file/file_internal.h"
#include "module_file.h"

namespace
{

constexpr uint16_t file_signature = 0x5A4D;
constexpr uint32_t header_signature = 0x4550;
constexpr uint16_t machine_64 = 0x8664;
constexpr uint64_t header_size = 264; // what must be there of the header
constexpr uint64_t table_32 = 248;    // where the section table begins behind the header's start
constexpr uint64_t table_64 = 264;
constexpr uint64_t entry_size = 40;
constexpr size_t name_size = 8;

// A read-only view of a whole file.
class FileView
{
public:
    FileView() = default;
    FileView(const FileView&) = delete;
    FileView& operator=(const FileView&) = delete;
    ~FileView()
    {
        if (m_view)
            UnmapViewOfFile(m_view);
        if (m_mapping)
            CloseHandle(m_mapping);
        if (m_file != INVALID_HANDLE_VALUE)
            CloseHandle(m_file);
    }

    // QV_OK, QV_ERR_NOFILE or QV_ERR_SYSTEM.
    int Open(const wchar_t* path)
    {
        m_file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        if (m_file == INVALID_HANDLE_VALUE)
            return QV_ERR_NOFILE;
        DWORD high = 0;
        SetLastError(ERROR_SUCCESS);
        const DWORD low = ::GetFileSize(m_file, &high);
        if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
            return QV_ERR_SYSTEM;
        m_size = QvJoin(high, low);
        m_mapping = CreateFileMappingW(m_file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        if (m_mapping)
            m_view = MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 0);
        return m_view ? QV_OK : QV_ERR_SYSTEM;
    }

    // Null if the range is not within the file.
    const BYTE* At(uint64_t offset, uint64_t length) const
    {
        return offset <= m_size && length <= m_size - offset
                   ? static_cast<const BYTE*>(m_view) + offset
                   : nullptr;
    }

    // 0 if the number is not within the file.
    template <class Number> Number Read(uint64_t offset) const
    {
        Number number = 0;
        if (const BYTE* const at = At(offset, sizeof number))
            std::memcpy(&number, at, sizeof number);
        return number;
    }

private:
    HANDLE m_file = INVALID_HANDLE_VALUE;
    HANDLE m_mapping = nullptr;
    const void* m_view = nullptr;
    uint64_t m_size = 0;
};

// Where the section table lies.
struct Table
{
    uint64_t start;
    unsigned count;
};

bool FindTable(const FileView& view, Table& table)
{
    const auto header = view.Read<int32_t>(60);
    if (view.Read<uint16_t>(0) != file_signature || header < 0)
        return false;
    const uint64_t start = static_cast<uint32_t>(header);
    if (!view.At(start, header_size) || view.Read<uint32_t>(start) != header_signature)
        return false;
    table.start = start + (view.Read<uint16_t>(start + 4) == machine_64 ? table_64 : table_32);
    table.count = view.Read<uint16_t>(start + 6);
    return true;
}

// False if the entry is not all within the file.
bool ReadEntry(const FileView& view, const Table& table, unsigned index, QvSection& section)
{
    const uint64_t place = table.start + index * entry_size;
    const BYTE* const entry = view.At(place, entry_size);
    if (!entry)
        return false;
    section = {};
    std::memcpy(section.name, entry, name_size);
    section.size = view.Read<uint32_t>(place + 16);
    section.offset = view.Read<uint32_t>(place + 20);
    return true;
}

bool HasName(const QvSection& section, const char* name)
{
    return CompareStringA(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, section.name, -1, name, -1) ==
           CSTR_EQUAL;
}

} // namespace

int QvListSections(const wchar_t* path, bool (*each)(const QvSection& section, void* argument),
                   void* argument)
{
    FileView view;
    const int status = view.Open(path);
    if (status != QV_OK)
        return status;
    Table table;
    if (!FindTable(view, table))
        return QV_ERR_SYSTEM;
    QvSection section;
    for (unsigned i = 0; i < table.count && ReadEntry(view, table, i, section); ++i)
        if (!each(section, argument))
            break;
    return QV_OK;
}

int QvReadSection(const wchar_t* path, const char* name, void** data, uint32_t* size)
{
    *data = nullptr;
    *size = 0;
    FileView view;
    const int status = view.Open(path);
    if (status != QV_OK)
        return status;
    Table table;
    QvSection section;
    if (!FindTable(view, table))
        return QV_ERR_SYSTEM;
    unsigned index = 0;
    while (index < table.count && ReadEntry(view, table, index, section) && !HasName(section, name))
        ++index;
    if (index == table.count || !view.At(table.start + index * entry_size, entry_size))
        return QV_ERR_SYSTEM;
    const uint32_t length = section.size;
    const BYTE* const content = view.At(length ? section.offset : 0, length);
    // A block of no bytes is a block: null would mean failure.
    void* const block = content ? std::malloc(length ? length : 1) : nullptr;
    if (!block)
        return QV_ERR_SYSTEM;
    std::memcpy(block, content, length);
    *data = block;
    *size = length;
    return QV_OK;
}

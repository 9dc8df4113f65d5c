// Reading a section of a module file.
//
// The file may come from anywhere, so every position in it is checked against its size, in 64 bits.
// It is read rather than mapped, because mapping and touching a page costs more than reading most
// sections.
#include <algorithm>
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
constexpr uint64_t header_size = 264; // bytes of the header that must exist
constexpr uint64_t table_32 = 248;    // offset of the section table from the header's start
constexpr uint64_t table_64 = 264;
constexpr uint64_t entry_size = 40;
constexpr size_t name_size = 8;

// An open file that is read at any position, small pieces through a buffer called the window.
class ModuleFile
{
public:
    // cppcheck-suppress uninitMemberVar ; the window is filled before it is read
    ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;
    ~ModuleFile()
    {
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
        return QV_OK;
    }

    bool Holds(uint64_t offset, uint64_t length) const
    {
        return offset <= m_size && length <= m_size - offset;
    }

    // False if the range is not completely in the file, or can't be read. The part that the window
    // holds is copied from there: a section after short headers then begins at the current position
    // of the file, and needs no seek.
    bool Copy(uint64_t offset, uint32_t size, void* to)
    {
        if (!Holds(offset, size))
            return false;
        uint32_t taken = 0;
        if (offset >= m_start && offset < m_start + m_filled)
        {
            const auto within = static_cast<uint32_t>(offset - m_start);
            taken = std::min(size, m_filled - within);
            std::memcpy(to, m_window + within, taken);
        }
        return taken == size || Fetch(offset + taken, size - taken, static_cast<BYTE*>(to) + taken);
    }

    // At most a window of bytes; null in the same cases.
    const BYTE* At(uint64_t offset, uint32_t length)
    {
        if (!Holds(offset, length))
            return nullptr;
        if (offset < m_start || offset + length > m_start + m_filled)
        {
            const uint64_t rest = m_size - offset;
            m_start = offset;
            m_filled = static_cast<uint32_t>(rest < window_size ? rest : window_size);
            if (!Fetch(m_start, m_filled, m_window))
                m_filled = 0;
        }
        return length <= m_filled ? m_window + (offset - m_start) : nullptr;
    }

    // 0 if the number is not inside the file.
    template <class Number> Number Read(uint64_t offset)
    {
        Number number = 0;
        if (const BYTE* const at = At(offset, sizeof number))
            std::memcpy(&number, at, sizeof number);
        return number;
    }

private:
    static constexpr uint32_t window_size = 4096; // the headers of most files
    static constexpr uint64_t unknown = UINT64_MAX;

    // Reads what the file holds.
    bool Fetch(uint64_t offset, uint32_t size, void* to)
    {
        if (offset != m_position && !Seek(offset))
            return false;
        DWORD done = 0;
        const bool good = ReadFile(m_file, to, size, &done, nullptr) && done == size;
        m_position = good ? offset + size : unknown;
        return good;
    }

    bool Seek(uint64_t offset)
    {
        auto high = static_cast<LONG>(QvHigh(offset));
        SetLastError(ERROR_SUCCESS);
        return SetFilePointer(m_file, static_cast<LONG>(QvLow(offset)), &high, FILE_BEGIN) !=
                   INVALID_SET_FILE_POINTER ||
               GetLastError() == ERROR_SUCCESS;
    }

    HANDLE m_file = INVALID_HANDLE_VALUE;
    uint64_t m_size = 0;
    uint64_t m_position = 0; // of the handle: reading there needs no seek
    uint64_t m_start = 0;    // of the window
    uint32_t m_filled = 0;
    BYTE m_window[window_size];
};

// The position of the section table.
struct Table
{
    uint64_t start;
    unsigned count;
};

bool FindTable(ModuleFile& file, Table& table)
{
    if (file.Read<uint16_t>(0) != file_signature) // first: this also fills the window with the rest
        return false;
    const auto header = file.Read<int32_t>(60);
    if (header < 0)
        return false;
    const uint64_t start = static_cast<uint32_t>(header);
    if (!file.Holds(start, header_size) || file.Read<uint32_t>(start) != header_signature)
        return false;
    table.start = start + (file.Read<uint16_t>(start + 4) == machine_64 ? table_64 : table_32);
    table.count = file.Read<uint16_t>(start + 6);
    return true;
}

// False if the entry is not completely inside the file.
bool ReadEntry(ModuleFile& file, const Table& table, unsigned index, QvSection& section)
{
    const uint64_t place = table.start + index * entry_size;
    const BYTE* const entry = file.At(place, entry_size);
    if (!entry)
        return false;
    section = {};
    std::memcpy(section.name, entry, name_size);
    section.size = file.Read<uint32_t>(place + 16);
    section.offset = file.Read<uint32_t>(place + 20);
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
    ModuleFile file;
    const int status = file.Open(path);
    if (status != QV_OK)
        return status;
    Table table;
    if (!FindTable(file, table))
        return QV_ERR_SYSTEM;
    QvSection section;
    for (unsigned i = 0; i < table.count && ReadEntry(file, table, i, section); ++i)
        if (!each(section, argument))
            break;
    return QV_OK;
}

int QvReadSection(const wchar_t* path, const char* name, void** data, uint32_t* size)
{
    *data = nullptr;
    *size = 0;
    ModuleFile file;
    const int status = file.Open(path);
    if (status != QV_OK)
        return status;
    Table table;
    QvSection section;
    if (!FindTable(file, table))
        return QV_ERR_SYSTEM;
    bool found = false;
    for (unsigned i = 0; !found && i < table.count && ReadEntry(file, table, i, section); ++i)
        found = HasName(section, name);
    if (!found)
        return QV_ERR_SYSTEM;
    const uint32_t length = section.size;
    if (length && !file.Holds(section.offset, length))
        return QV_ERR_SYSTEM;
    // A block of no bytes is still a block, because null would mean failure.
    void* const block = std::malloc(length ? length : 1);
    if (!block || (length && !file.Copy(section.offset, length, block)))
    {
        std::free(block);
        return QV_ERR_SYSTEM;
    }
    *data = block;
    *size = length;
    return QV_OK;
}

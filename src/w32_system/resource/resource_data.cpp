// The container of resources, and who owns its list.
//
// The list counts the objects that refer to it. An assignment releases a list without other
// holders, and of two holders only the last one destroyed deletes it. A reference that
// UnrefDataMember drops is no longer counted, and releases nothing.
#include <atomic>
#include <list>
#include <memory>
#include <new>

#include "argument_check.h"
#include "static_objects.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\resource\\resource";
constexpr unsigned int growth_step = 1024;

struct Entry
{
    Entry(const void* data, unsigned int size, int32_t number)
        : array(new CQvByteArrayW32(data, size, growth_step)), id(number)
    {
        // An array stores only what it has room for, so its size is the one sign of failure.
        if (array->GetSize() != (data ? size : 0))
            throw std::bad_alloc();
    }

    std::unique_ptr<CQvByteArrayW32> array;
    int32_t id;
};

struct EmptyArrayTag;

// The caller may write to the shared array; it is emptied before each later miss.
CQvByteArrayW32& EmptyArray()
{
    static QvStaticObject<CQvByteArrayW32, EmptyArrayTag> s_empty; // built by the first miss
    CQvByteArrayW32& array = s_empty.Get();
    if (array.GetAllocated())
        array.FreeData();
    return array;
}

} // namespace

struct CQvRscData::List
{
    std::atomic<unsigned int> holders{1};
    std::list<Entry> entries;
};

CQvRscData::CQvRscData() : m_pModule(nullptr), m_pList(new List) {}

CQvRscData::CQvRscData(const CQvRscData& other) : m_pModule(nullptr), m_pList(nullptr)
{
    *this = other;
}

CQvRscData::~CQvRscData()
{
    Release();
}

void CQvRscData::Release()
{
    if (m_pList && m_pList->holders.fetch_sub(1) == 1)
        delete m_pList;
    m_pList = nullptr;
}

CQvRscData& CQvRscData::operator=(const CQvRscData& other)
{
    if (this == &other)
        return *this;
    m_pModule = other.m_pModule;
    if (m_pList == other.m_pList)
        return *this;
    if (other.m_pList)
        ++other.m_pList->holders;
    Release();
    m_pList = other.m_pList;
    return *this;
}

void CQvRscData::UnrefDataMember()
{
    if (m_pList)
        --m_pList->holders;
    m_pList = nullptr;
}

int CQvRscData::AppendData(const void* data, unsigned int size, int id)
{
    if (!m_pList)
        return QvRefuse(QV_ERR_NULLPTR, L"m_pList==NULL", L"AppendData: No list.", source_name,
                        __LINE__);
    m_pList->entries.emplace_back(data, size, id);
    return QV_OK;
}

int CQvRscData::Clear()
{
    if (!m_pList)
        return QV_OK;
    List* const fresh = new List;
    Release();
    m_pList = fresh;
    return QV_OK;
}

int CQvRscData::GetCQvByteArrayW32Count() const
{
    return m_pList ? static_cast<int>(m_pList->entries.size()) : 0;
}

CQvByteArrayW32& CQvRscData::GetCQvByteArrayW32(int index, int* id) const
{
    if (!m_pList)
        return EmptyArray();
    auto entry = m_pList->entries.begin();
    for (int i = 0; i < index && entry != m_pList->entries.end(); ++i)
        ++entry;
    if (entry == m_pList->entries.end())
        return EmptyArray();
    if (id)
        *id = entry->id;
    return *entry->array;
}

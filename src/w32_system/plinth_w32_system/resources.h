// Modules, their sections and versions, byte arrays and resources.
#ifndef PLINTH_W32_SYSTEM_RESOURCES_H
#define PLINTH_W32_SYSTEM_RESOURCES_H

#include <cstdint>

#include "base.h"

// ---------------------------------------------------------------------- modules and resources --

// A module's handle: the system's own. Null for none.
using __qv_hmodule = HINSTANCE__; // NOLINT(bugprone-reserved-identifier): the name is given

extern "C"
{
    // Loads a module by file name or path, with '\' or '/'. A loaded module is counted: each load
    // wants a QV_UnloadLibrary. Null on failure, and the system's error stays readable; null or an
    // empty name is refused. On Linux the module is a shared object, and for X.dll the names
    // libX.so and X.so are tried too.
    QV_API __qv_hmodule* QV_LoadLibrary(const wchar_t* filename);

    // QV_ERR_NULLPTR: lib is null. QV_ERR_SYSTEM: it is no module.
    QV_API int QV_UnloadLibrary(__qv_hmodule* lib);

    // The address of an exported function or variable; null if there is none, or an argument is
    // null or empty.
    QV_API void* QV_GetSymbol(__qv_hmodule* lib, const char* name);

    // Copies a section of a PE file of either width, as it lies in the file, without loading it.
    // section: its name, at most 8 characters, without regard to case. *data: a block of *size
    // bytes for QV_FreeDataSeg. QV_ERR_NULLPTR: data, size or section is null. QV_ERR_NOFILE: the
    // file can't be opened. QV_ERR_SYSTEM: it is no PE file, has no such section, its section is
    // not all there, or memory ran out. On failure *data is null and *size 0.
    QV_API int QV_GetDataSeg(const wchar_t* filename, const char* section, void** data,
                             uint32_t* size);

    // Frees the block, and sets the pointer to null; null is fine for either. Always QV_OK.
    QV_API int QV_FreeDataSeg(void** data);

    // The first four bytes, as a little-endian number, of the value
    // "\StringFileInfo\040504b0\PatchNumber" in the version block of a PE file; 0 without one.
    QV_API uint32_t QV_GetModulePatchNumber(const wchar_t* filename);

    // Stores a file of less than 2 GiB in a PE file, as a resource of type RT_RCDATA and language
    // 0; one that exists under the name is replaced. name: a text, without regard to case, or a
    // number by MAKEINTRESOURCEW. The module file is replaced whole or stays as it was; a signature
    // in it goes. QV_ERR_SYSTEM: QV_GetResCopyError tells why.
    QV_API int QV_ResourceToDll(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // Writes such a resource out into a file. The file's former content is gone, and it is left
    // empty, also if the module has no such resource. QV_ERR_SYSTEM: as above.
    QV_API int QV_DllToResource(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // What the last of the two that failed has failed at, for people; null if none has. One text
    // for the process: with several threads at work, the latest.
    QV_API const wchar_t* QV_GetResCopyError(void);
}

// Where SetData puts its data. Any other value acts as QV_BYTEARRAY_OP_SET.
enum EQvByteArrayModeOp : unsigned
{
    QV_BYTEARRAY_OP_SET = 0,    // at the start; the size becomes that of the data
    QV_BYTEARRAY_OP_APPEND = 1, // behind the bytes in use
};

// What SetData does if the data doesn't fit. Any other value acts as QV_BYTEARRAY_ALLOC_EXACT.
enum EQvByteArrayModeAlloc : unsigned
{
    QV_BYTEARRAY_ALLOC_EXACT = 0, // reallocates to the size that is needed
    QV_BYTEARRAY_ALLOC_FIXED = 1, // stores as much as fits
    QV_BYTEARRAY_ALLOC_GROW = 2, // reallocates by whole growth steps, with at least a byte to spare
};

// A growable buffer: bytes in use, bytes allocated, and a cursor that only the caller moves. Sizes
// have 32 bits; what would need more is a failure like that of the memory. Only FreeData gives
// memory back. One thread at a time.
class QV_API CQvByteArrayW32
{
public:
    explicit CQvByteArrayW32(unsigned int growthStep = 1024); // bytes; 0 counts as 1
    // Starts with a copy of size bytes. Without memory for it the array is empty.
    CQvByteArrayW32(const void* data, unsigned int size, unsigned int growthStep);
    CQvByteArrayW32(const CQvByteArrayW32& other);            // the cursor starts at 0
    CQvByteArrayW32& operator=(const CQvByteArrayW32& other); // keeps its own growth step
    ~CQvByteArrayW32();

    // By the bytes in use alone.
    bool operator==(const CQvByteArrayW32& other) const;
    bool operator!=(const CQvByteArrayW32& other) const;

    // Copies size bytes in; data may be the array's own. With null only room is made. Nothing
    // happens to the size if size is 0. QV_ERR_NOMEMORY: null, and no room could be made.
    // QV_ERR_TRUNCATED: a part was stored. QV_ERR_SYSTEM: there is no room at all.
    int SetData(const void* data, unsigned int size, EQvByteArrayModeOp op,
                EQvByteArrayModeAlloc alloc);
    void FreeData();

    // The block, null if nothing is allocated; good until it grows or goes. A new size that is not
    // 0 and is allocated becomes the number of bytes in use: for who has written into the block.
    const void* GetData() const;
    void* GetData(unsigned int newSize);
    unsigned int GetSize() const;
    unsigned int GetAllocated() const;

    // The cursor, up to the bytes allocated. QV_ERR_NULLPTR: beyond them, or not in the block.
    int SetCurrentOffset(unsigned int offset);
    int SetCurrentOffsetPtr(void* pointer);
    unsigned int GetCurrentOffset() const;
    void* GetCurrentOffsetPtr() const;

private:
    void Init(unsigned int growthStep);
    bool Reallocate(unsigned int base, unsigned int size, EQvByteArrayModeAlloc alloc);

    unsigned char* m_pData;
    uint32_t m_uCurrentOffset;
    uint32_t m_uSize;
    uint32_t m_uAllocated;
    uint32_t m_uGrowthStep;
};

// Resources of a module: byte arrays in the order of loading, each with an id.
//
// Copies share one list. A caller who keeps what was loaded takes it over in two steps,
// "kept = loaded; loaded.UnrefDataMember();": the list is then kept's alone. One thread at a time,
// also for objects that share a list. Without memory the operations throw std::bad_alloc.
class QV_API CQvRscData
{
public:
    CQvRscData();
    CQvRscData(const CQvRscData& other); // shares the list
    ~CQvRscData();                       // frees the list if nobody else holds it

    // Shares the other's list. The list that this object held goes if nobody else holds it.
    CQvRscData& operator=(const CQvRscData& other);

    // Gives the list up to whoever shares it; if nobody does, it is lost. After it the object is
    // empty and takes no data.
    void UnrefDataMember();

    // Appends a copy of size bytes. Null with a size of 0 makes an empty entry. QV_ERR_NULLPTR:
    // there is no list.
    int AppendData(const void* data, unsigned int size, int id);

    int Clear();                         // always QV_OK
    int GetCQvByteArrayW32Count() const; // of entries; 0 without a list

    // The entry at a position, counted from 0; a negative one counts as 0. The array is the list's
    // own and lives as long. id: may be null. Without such an entry *id stays, and the result is a
    // shared array of size 0.
    CQvByteArrayW32& GetCQvByteArrayW32(int index, int* id) const;

private:
    friend QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData&, __qv_hmodule*, int, int);
    struct List;

    void Release();

    __qv_hmodule* m_pModule; // of the last load: a record, which nothing reads
    List* m_pList;
};

// Append the resource of type RT_RCDATA with the number id to target; if there is none, nothing is
// appended. Its entry gets entryId, or id if that is -1. A null module, or a path that can't be
// opened, stands for the main executable. The result is target.
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, __qv_hmodule* module, int id,
                                                   int entryId);
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, const wchar_t* modulePath,
                                                   int id, int entryId);

// Replace what target holds by the module's data for all languages: the resources with the numbers
// 0x400 to 0x47E, 0x804 and 0xC0A, in this order, as far as there are.
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, __qv_hmodule* module);
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, const wchar_t* modulePath);

#endif

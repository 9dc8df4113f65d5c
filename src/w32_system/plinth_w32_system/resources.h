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
    // Loads a module by file name or path, with '\' or '/'. Loads are counted: each needs one
    // QV_UnloadLibrary. Null on failure, and the system's error stays readable; null or an empty
    // name is refused. On Linux the module is a shared object, and for X.dll the names libX.so and
    // X.so are tried too.
    QV_API __qv_hmodule* QV_LoadLibrary(const wchar_t* filename);

    // QV_ERR_NULLPTR: lib is null. QV_ERR_SYSTEM: lib is not a module.
    QV_API int QV_UnloadLibrary(__qv_hmodule* lib);

    // The address of an exported function or variable; null if there is none, or an argument is
    // null or empty.
    QV_API void* QV_GetSymbol(__qv_hmodule* lib, const char* name);

    // Copies a section of a PE file of either width, as it is in the file, without loading the
    // file. section: its name, at most 8 characters, without regard to case. *data: a block of
    // *size bytes for QV_FreeDataSeg. QV_ERR_NULLPTR: data, size or section is null. QV_ERR_NOFILE:
    // the file can't be opened. QV_ERR_SYSTEM: it is no PE file, has no such section, the section
    // is not complete, or memory ran out. On failure *data is null and *size 0.
    QV_API int QV_GetDataSeg(const wchar_t* filename, const char* section, void** data,
                             uint32_t* size);

    // Frees the block and sets the pointer to null; data and *data may be null. Always QV_OK.
    QV_API int QV_FreeDataSeg(void** data);

    // The first four bytes, as a little-endian number, of the value
    // "\StringFileInfo\040504b0\PatchNumber" in the version block of a PE file; 0 without one.
    QV_API uint32_t QV_GetModulePatchNumber(const wchar_t* filename);

    // Stores a file of less than 2 GiB in a PE file, as a resource of type RT_RCDATA and language
    // 0; an existing one with that name is replaced. name: a text, without regard to case, or a
    // number by MAKEINTRESOURCEW. The module file is replaced as a whole or not at all; a signature
    // in it is removed. QV_ERR_SYSTEM: QV_GetResCopyError returns the reason.
    QV_API int QV_ResourceToDll(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // Writes such a resource to a file. The file's former content is lost even if the module has no
    // such resource; then the file is left empty. QV_ERR_SYSTEM: as above.
    QV_API int QV_DllToResource(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath);

    // A text for people: why the last failed call of the two above failed; null if none has. One
    // text for the process: with several threads, that of the latest failure.
    QV_API const wchar_t* QV_GetResCopyError(void);
}

// Where SetData puts its data. Any other value acts as QV_BYTEARRAY_OP_SET.
enum EQvByteArrayModeOp : unsigned
{
    QV_BYTEARRAY_OP_SET = 0,    // at the start; the size becomes that of the data
    QV_BYTEARRAY_OP_APPEND = 1, // after the bytes in use
};

// What SetData does if the data doesn't fit. Any other value acts as QV_BYTEARRAY_ALLOC_EXACT.
enum EQvByteArrayModeAlloc : unsigned
{
    QV_BYTEARRAY_ALLOC_EXACT = 0, // reallocates to the size that is needed
    QV_BYTEARRAY_ALLOC_FIXED = 1, // stores as much as fits
    QV_BYTEARRAY_ALLOC_GROW = 2,  // reallocates by whole growth steps, at least one byte larger
};

// A growable buffer: bytes in use, bytes allocated, and a cursor that only the caller moves. Sizes
// have 32 bits; a larger size fails like missing memory. Only FreeData frees memory. Not for
// several threads at the same time.
class QV_API CQvByteArrayW32
{
public:
    explicit CQvByteArrayW32(unsigned int growthStep = 1024); // bytes; 0 counts as 1
    // Starts with a copy of size bytes. Without memory for it the array is empty.
    CQvByteArrayW32(const void* data, unsigned int size, unsigned int growthStep);
    CQvByteArrayW32(const CQvByteArrayW32& other);            // the cursor starts at 0
    CQvByteArrayW32& operator=(const CQvByteArrayW32& other); // keeps its own growth step
    ~CQvByteArrayW32();

    // Compares only the bytes in use.
    bool operator==(const CQvByteArrayW32& other) const;
    bool operator!=(const CQvByteArrayW32& other) const;

    // Copies size bytes; data may be a part of the array itself. With null it only reserves room.
    // With size 0 the size in use doesn't change. QV_ERR_NOMEMORY: null, and no room could be made.
    // QV_ERR_TRUNCATED: a part was stored. QV_ERR_SYSTEM: there is no room at all.
    int SetData(const void* data, unsigned int size, EQvByteArrayModeOp op,
                EQvByteArrayModeAlloc alloc);
    void FreeData();

    // The block, null if nothing is allocated; valid until it grows or is freed. newSize, if it is
    // not 0 and within the bytes allocated, becomes the number of bytes in use: for callers that
    // have written into the block.
    const void* GetData() const;
    void* GetData(unsigned int newSize);
    unsigned int GetSize() const;
    unsigned int GetAllocated() const;

    // The cursor, up to the bytes allocated. QV_ERR_NULLPTR: beyond them, or outside the block.
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
// Copies share one list. To keep what was loaded and to give up the loaded object, write
// "kept = loaded; loaded.UnrefDataMember();": the list then belongs to kept only. No two threads
// may use one object, or objects that share a list, at the same time. Without memory the operations
// throw std::bad_alloc.
class QV_API CQvRscData
{
public:
    CQvRscData();
    CQvRscData(const CQvRscData& other); // shares the list
    ~CQvRscData();                       // frees the list if no other object shares it

    // Shares the other's list. The former list is freed if no other object shares it.
    CQvRscData& operator=(const CQvRscData& other);

    // Leaves the list to the objects that share it; if there are none, its memory is never freed.
    // The object then has no list and accepts no data.
    void UnrefDataMember();

    // Appends a copy of size bytes. Null with a size of 0 makes an empty entry. QV_ERR_NULLPTR: the
    // object has no list.
    int AppendData(const void* data, unsigned int size, int id);

    int Clear();                         // always QV_OK
    int GetCQvByteArrayW32Count() const; // number of entries; 0 without a list

    // The entry at a position, counted from 0; a negative one counts as 0. The list owns the array,
    // which lives as long as the list. id: may be null. Without such an entry *id is unchanged, and
    // the result is a shared array of size 0.
    CQvByteArrayW32& GetCQvByteArrayW32(int index, int* id) const;

private:
    friend QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData&, __qv_hmodule*, int, int);
    struct List;

    void Release();

    __qv_hmodule* m_pModule; // of the last load; stored but never read
    List* m_pList;
};

// Append the resource of type RT_RCDATA with the number id to target; if there is none, append
// nothing. The entry's id is entryId, or id if entryId is -1. A null module, or a path that can't
// be opened, means the main executable. The result is target.
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, __qv_hmodule* module, int id,
                                                   int entryId);
QV_API const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, const wchar_t* modulePath,
                                                   int id, int entryId);

// Replace the content of target by the module's data for all languages: the existing ones of the
// resources with the numbers 0x400 to 0x47E, 0x804 and 0xC0A, in this order.
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, __qv_hmodule* module);
QV_API const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, const wchar_t* modulePath);

#endif

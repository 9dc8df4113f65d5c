// The table of kernel handles.
//
// A slot's word holds its generation (high 32 bits), whether it is live and closed, and how many
// pins it has. Every change of a slot is one change of that word, so that a look-up is a load and a
// compare-and-exchange. An object is destroyed when its slot is closed and has no pins: by the
// closer if there are none, otherwise by the last unpin. A freed slot has the next generation, so
// that old handles no longer match.
#include "handle_table.h"

#include <atomic>
#include <mutex>
#include <new>

#include "system/faults.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"
#include "windows.h"

namespace platform
{

namespace
{

constexpr uint64_t live_bit = uint64_t{1} << 31;
constexpr uint64_t closed_bit = uint64_t{1} << 30;
constexpr uint64_t pin_mask = closed_bit - 1;
constexpr uint64_t generation_step = uint64_t{1} << 32;

constexpr unsigned chunk_bits = 10;
constexpr unsigned chunk_size = 1u << chunk_bits;
constexpr unsigned chunk_count = 256; // 262,144 handles
constexpr unsigned index_bits = 20;   // of a handle value, above two bits that stay zero
constexpr uint64_t generation_mask = 0x3FFFFFFF;

struct Slot
{
    std::atomic<uint64_t> word{0};
    Object* object = nullptr; // visible to others once the word is set
    unsigned next_free = 0;   // the index of the next free slot, plus 1; 0: the last
};

std::atomic<Slot*> g_chunks[chunk_count];

// The free slots, in a list through the slots themselves: closing a handle needs no memory. The
// lock is taken only to open and to close.
struct FreeList
{
    std::mutex lock;
    unsigned first = 0; // index plus 1; 0: none
    unsigned length = 0;
    unsigned used_chunks = 0;
};

FreeList& free_list()
{
    static Immortal<FreeList> only;
    return *only;
}

std::mutex& free_list_lock()
{
    return free_list().lock;
}

Slot& slot_at(unsigned index)
{
    return g_chunks[index >> chunk_bits].load(std::memory_order_acquire)[index & (chunk_size - 1)];
}

// Both need the lock of the free list.
void give_back(FreeList& list, unsigned index)
{
    slot_at(index).next_free = list.first;
    list.first = index + 1;
    ++list.length;
}

unsigned take_free(FreeList& list)
{
    const unsigned index = list.first - 1;
    list.first = slot_at(index).next_free;
    --list.length;
    return index;
}

uint64_t generation_of(uint64_t word)
{
    return (word / generation_step) & generation_mask;
}

HANDLE encode(unsigned index, uint64_t word)
{
    const uint64_t value =
        (generation_of(word) << (index_bits + 2)) | (static_cast<uint64_t>(index + 1) << 2);
    return reinterpret_cast<HANDLE>(value);
}

// False if the value can't be a handle.
bool decode(HANDLE handle, unsigned& index, uint64_t& generation)
{
    const uint64_t value = reinterpret_cast<uint64_t>(handle);
    const unsigned number = static_cast<unsigned>(value >> 2) & ((1u << index_bits) - 1);
    if (number == 0 || (value & 3) != 0 || number > chunk_count * chunk_size)
        return false;
    index = number - 1;
    generation = value >> (index_bits + 2);
    return g_chunks[index >> chunk_bits].load(std::memory_order_acquire) != nullptr;
}

bool is_open(uint64_t word, uint64_t generation)
{
    return (word & (live_bit | closed_bit)) == live_bit && generation_of(word) == generation;
}

// The slot is closed and has no pins: no other thread can reach it.
DWORD destroy(unsigned index, Slot& slot)
{
    Object* const object = slot.object;
    slot.object = nullptr;
    const uint64_t word = slot.word.load(std::memory_order_relaxed);
    slot.word.store((word & ~(generation_step - 1)) + generation_step, std::memory_order_release);
    {
        const std::lock_guard guard(free_list().lock);
        give_back(free_list(), index);
    }
    const DWORD result = object->close();
    delete object;
    return result;
}

// For a forked child: calls of other threads don't run there, so their pins hold nothing. Without
// this, an object that the child closes would stay open, and its parent's named objects would live
// as long as the child.
void drop_pins()
{
    const unsigned count = free_list().used_chunks * chunk_size;
    for (unsigned index = 0; index < count; ++index)
    {
        Slot& slot = slot_at(index);
        const uint64_t word = slot.word.load(std::memory_order_relaxed);
        if ((word & pin_mask) == 0)
            continue;
        slot.word.store(word & ~pin_mask, std::memory_order_relaxed);
        if ((word & closed_bit) != 0)
            destroy(index, slot);
    }
}

const AtFork g_at_fork(ForkStep::handles, taken_at_fork<free_list_lock>(drop_pins));

// Needs the lock of the free list. False without room or memory.
bool add_chunk(FreeList& list)
{
    if (list.used_chunks == chunk_count)
        return false;
    Slot* const chunk = new (std::nothrow) Slot[chunk_size];
    if (!chunk)
        return false;
    const unsigned first = list.used_chunks * chunk_size;
    g_chunks[list.used_chunks++].store(chunk, std::memory_order_release);
    for (unsigned i = chunk_size; i > 0; --i)
        give_back(list, first + i - 1);
    return true;
}

} // namespace

DWORD Object::wait(DWORD)
{
    fail_with(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

HANDLE insert_handle(Object* object)
{
    if (!object)
    {
        fail_with(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    unsigned index = 0;
    {
        const std::lock_guard guard(free_list().lock);
        FreeList& list = free_list();
        if (list.first == 0 && !add_chunk(list))
        {
            object->close();
            delete object;
            fail_with(ERROR_TOO_MANY_OPEN_FILES);
            return nullptr;
        }
        index = take_free(list);
    }
    Slot& slot = slot_at(index);
    slot.object = object;
    const uint64_t word = slot.word.load(std::memory_order_relaxed) | live_bit;
    slot.word.store(word, std::memory_order_release);
    return encode(index, word);
}

unsigned handles_in_use()
{
    const std::lock_guard guard(free_list().lock);
    return free_list().used_chunks * chunk_size - free_list().length;
}

bool close_handle(HANDLE handle)
{
    unsigned index = 0;
    uint64_t generation = 0;
    if (!decode(handle, index, generation))
        return fail_with(ERROR_INVALID_HANDLE);
    Slot& slot = slot_at(index);
    uint64_t word = slot.word.load(std::memory_order_acquire);
    do
    {
        if (!is_open(word, generation))
            return fail_with(ERROR_INVALID_HANDLE);
    } while (!slot.word.compare_exchange_weak(word, word | closed_bit, std::memory_order_acq_rel,
                                              std::memory_order_acquire));
    if ((word & pin_mask) != 0)
        return true; // the last unpin destroys the object
    const DWORD error = destroy(index, slot);
    return error == 0 ? true : fail_with(error);
}

bool close_handle(HANDLE handle, ObjectKind kind)
{
    {
        const Pin<Object> object(handle);
        if (!object)
            return false;
        if (object->kind() != kind)
            return fail_with(ERROR_INVALID_HANDLE);
    }
    return close_handle(handle);
}

PinBase::PinBase(HANDLE handle, int kind)
{
    uint64_t generation = 0;
    if (!decode(handle, m_index, generation))
    {
        fail_with(ERROR_INVALID_HANDLE);
        return;
    }
    Slot& slot = slot_at(m_index);
    uint64_t word = slot.word.load(std::memory_order_acquire);
    do
    {
        if (!is_open(word, generation))
        {
            fail_with(ERROR_INVALID_HANDLE);
            return;
        }
    } while (!slot.word.compare_exchange_weak(word, word + 1, std::memory_order_acq_rel,
                                              std::memory_order_acquire));
    m_object = slot.object;
    if (kind >= 0 && static_cast<int>(m_object->kind()) != kind)
    {
        release();
        fail_with(ERROR_INVALID_HANDLE);
    }
}

void PinBase::release()
{
    m_object = nullptr;
    Slot& slot = slot_at(m_index);
    const uint64_t before = slot.word.fetch_sub(1, std::memory_order_acq_rel);
    if ((before & pin_mask) == 0) [[unlikely]]
        slot.word.fetch_add(1, std::memory_order_acq_rel); // after a fork: drop_pins unpinned it
    else if ((before & closed_bit) != 0 && (before & pin_mask) == 1)
        destroy(m_index, slot);
}

PinBase::~PinBase()
{
    if (m_object)
        release();
}

} // namespace platform

extern "C" BOOL CloseHandle(HANDLE object)
{
    int error = 0;
    if (platform::is_pseudo_handle(object))
        return TRUE;
    if (platform::api_fault("CloseHandle", error))
    {
        platform::close_handle(object);
        return platform::fail_with(static_cast<DWORD>(error));
    }
    {
        const platform::Pin<platform::Object> pin(object);
        if (!pin)
            return FALSE;
        if (!platform::is_closed_by_close_handle(pin->kind()))
            return platform::fail_with(ERROR_INVALID_HANDLE);
    }
    return platform::close_handle(object);
}

// The exception masks of the floating-point units, in the runtime's bit layout.
//
// An x86-64 processor has two units, and long double arithmetic still uses the older one: both are
// set alike, and an exception counts as masked only if both mask it. On other processors the C
// library's functions are used; they have no exception for denormal operands, which then counts as
// masked.
#include <fenv.h>
#include <float.h>

namespace
{

struct MaskBit
{
    unsigned runtime;
    unsigned native; // of the newer unit's word on x86-64, of the C library elsewhere
};

#if defined(__x86_64__)

constexpr unsigned older_shift = 7; // from the newer unit's mask bits to the older one's

constexpr MaskBit mask_bits[] = {
    {_EM_INVALID, 0x0080},  {_EM_DENORMAL, 0x0100},  {_EM_ZERODIVIDE, 0x0200},
    {_EM_OVERFLOW, 0x0400}, {_EM_UNDERFLOW, 0x0800}, {_EM_INEXACT, 0x1000},
};

struct Words
{
    unsigned newer = 0;
    unsigned short older = 0;
};

Words read_words()
{
    Words words;
    __asm__ volatile("stmxcsr %0" : "=m"(words.newer));
    __asm__ volatile("fnstcw %0" : "=m"(words.older));
    return words;
}

unsigned read_masks()
{
    const Words words = read_words();
    const unsigned both = words.newer & (unsigned{words.older} << older_shift);
    unsigned masks = 0;
    for (const MaskBit& bit : mask_bits)
        if (both & bit.native)
            masks |= bit.runtime;
    return masks;
}

void write_masks(unsigned masks)
{
    Words words = read_words();
    for (const MaskBit& bit : mask_bits)
    {
        const unsigned older = bit.native >> older_shift;
        words.newer = masks & bit.runtime ? words.newer | bit.native : words.newer & ~bit.native;
        words.older = static_cast<unsigned short>(masks & bit.runtime ? words.older | older
                                                                      : words.older & ~older);
    }
    __asm__ volatile("ldmxcsr %0" : : "m"(words.newer));
    __asm__ volatile("fldcw %0" : : "m"(words.older));
}

#else

constexpr MaskBit mask_bits[] = {
    {_EM_INVALID, FE_INVALID},     {_EM_ZERODIVIDE, FE_DIVBYZERO}, {_EM_OVERFLOW, FE_OVERFLOW},
    {_EM_UNDERFLOW, FE_UNDERFLOW}, {_EM_INEXACT, FE_INEXACT},
};

unsigned read_masks()
{
    const int unmasked = fegetexcept();
    unsigned masks = _EM_DENORMAL;
    for (const MaskBit& bit : mask_bits)
        if ((unmasked & static_cast<int>(bit.native)) == 0)
            masks |= bit.runtime;
    return masks;
}

void write_masks(unsigned masks)
{
    for (const MaskBit& bit : mask_bits)
        if (masks & bit.runtime)
            fedisableexcept(static_cast<int>(bit.native));
        else
            feenableexcept(static_cast<int>(bit.native));
}

#endif

} // namespace

extern "C" unsigned int _control87(unsigned int value, unsigned int mask)
{
    const unsigned before = read_masks();
    const unsigned change = mask & _MCW_EM;
    if (change == 0)
        return before;
    write_masks((before & ~change) | (value & change));
    return read_masks();
}

extern "C" unsigned int _controlfp(unsigned int value, unsigned int mask)
{
    return _control87(value, mask & ~static_cast<unsigned>(_EM_DENORMAL));
}

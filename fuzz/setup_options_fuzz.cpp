// The installer's file: found or not, nothing is read beyond its end.
#include <cstring>
#include <memory>

#include "debugging/logfile_internal.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr size_t limit = 512;
    const auto bytes = std::make_unique<uint8_t[]>(size);
    std::memcpy(bytes.get(), data, size);
    wchar_t name[limit];
    if (!QvFindAppFolder(bytes.get(), size, name, limit))
        return 0;
    size_t length = 0;
    while (length < limit && name[length])
        ++length;
    fuzz::check(length < limit, "the name is terminated");
    return 0;
}

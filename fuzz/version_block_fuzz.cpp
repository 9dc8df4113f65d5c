// Version blocks: a value that is found lies within its block.
#include <vector>

#include "fuzz_check.h"
#include "version/version_block.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace platform;
    const std::vector<uint8_t> exact(data, data + size);
    for (const std::u16string_view path :
         {u"\\", u"\\StringFileInfo\\040504b0\\PatchNumber", u"\\VarFileInfo\\Translation", u"\\\\",
          u"StringFileInfo"})
    {
        VersionValue value{};
        if (find_version_value({exact.data(), exact.size()}, path, value))
            fuzz::check(value.offset <= size && value.size <= size - value.offset,
                        "a value lies within the block");
    }
    return 0;
}

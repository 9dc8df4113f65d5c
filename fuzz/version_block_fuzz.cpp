// Version blocks: a value that is found is within its block.
#include "fuzz_target.h"
#include "version/version_block.h"

void fuzz::run(Input input)
{
    using namespace platform;
    for (const std::u16string_view path :
         {u"\\", u"\\StringFileInfo\\040504b0\\PatchNumber", u"\\VarFileInfo\\Translation", u"\\\\",
          u"StringFileInfo"})
    {
        const pe::Bytes block(input.data(), input.size());
        VersionValue value{};
        if (find_version_value(block, path, value))
            check(block.holds(value.offset, value.size), "a value lies within the block");
    }
}

// Sections of a module file: whatever the file says, the section that comes lies within it.
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "dynlib/module_file.h"
#include "fuzz_check.h"
#include "module_input.h"

namespace
{

bool count(const QvSection& section, void* argument)
{
    fuzz::check(section.name[8] == '\0', "a name is terminated");
    return ++*static_cast<unsigned*>(argument) < 100;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const fuzz::ModuleInput file(data, size);
    unsigned sections = 0;
    QvListSections(file.path(), count, &sections);
    for (const char* const name : {".rsrc", ".segment", ".text"})
    {
        void* block = nullptr;
        uint32_t length = 0;
        const int status = QvReadSection(file.path(), name, &block, &length);
        fuzz::check((status == 0) == (block != nullptr), "a block comes with success");
        fuzz::check(length <= size, "a section is not larger than its file");
        std::free(block);
    }
    QvReadPatchNumber(file.path());
    return 0;
}

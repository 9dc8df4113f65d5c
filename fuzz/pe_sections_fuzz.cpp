// Sections of a module file: whatever the file contains, a returned section is within it.
#include <sys/mman.h>
#include <unistd.h>

#include "dynlib/module_file.h"
#include "fuzz_target.h"

namespace
{

bool count(const QvSection& section, void* argument)
{
    fuzz::check(section.name[8] == '\0', "a name is terminated");
    return ++*static_cast<unsigned*>(argument) < 100;
}

} // namespace

void fuzz::run(Input input)
{
    // A file in memory, under a path of the Windows interface.
    const int file = memfd_create("plinth-fuzz", MFD_CLOEXEC);
    check(file >= 0 &&
              write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()),
          "an input can be made");
    const std::string narrow = "C:\\proc\\self\\fd\\" + std::to_string(file);
    const std::vector<wchar_t> path(narrow.c_str(), narrow.c_str() + narrow.size() + 1);
    unsigned sections = 0;
    QvListSections(path.data(), count, &sections);
    for (const char* const name : {".rsrc", ".segment", ".text"})
    {
        void* block = nullptr;
        uint32_t length = 0;
        const int status = QvReadSection(path.data(), name, &block, &length);
        check((status == 0) == (block != nullptr), "a block comes with success");
        check(length <= input.size(), "a section is not larger than its file");
        std::free(block);
    }
    QvReadPatchNumber(path.data());
    close(file);
}

// The installer's file: whether a name is found or not, nothing is read after the file's end.
#include "debugging/logfile/logfile_internal.h"
#include "fuzz_target.h"

void fuzz::run(Input input)
{
    std::vector<wchar_t> name(512);
    if (QvFindAppFolder(input.data(), input.size(), name.data(), name.size()))
        check(std::find(name.begin(), name.end(), L'\0') != name.end(), "the name is terminated");
}
